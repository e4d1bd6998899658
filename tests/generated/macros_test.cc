// The macros list a service's methods for Boost.Preprocessor.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/preprocessor.hpp>
#include <string>
#include <vector>

#include "sizes.rpc.h"

namespace {

using namespace ::lab::sizes::api;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// For each method name of a sequence: append it as a text.
#define APPEND_NAME(r, list, name) list.push_back(BOOST_PP_STRINGIZE(name));

// For each enumerator of a sequence: append the full name from the traits. A
// whole registration could be written like this.
#define APPEND_FULL_NAME(r, traits, method) \
  full_names.push_back(traits<method>::full_name());

TEST(MacrosTest, ServiceWithSeveralMethodsListsThemInOrder) {
  std::vector<std::string> names;
  BOOST_PP_SEQ_FOR_EACH(APPEND_NAME, names, SEVERAL_METHOD_NAMES)
  EXPECT_THAT(names, ElementsAre("Third", "first", "Second"));

  std::vector<std::string> full_names;
  BOOST_PP_SEQ_FOR_EACH(APPEND_FULL_NAME, SeveralMethods, SEVERAL_METHODS)
  EXPECT_THAT(full_names,
              ElementsAre("lab.sizes.Several/Third", "lab.sizes.Several/first",
                          "lab.sizes.Several/Second"));
}

TEST(MacrosTest, ServiceWithOneMethodListsIt) {
  std::vector<std::string> names;
  BOOST_PP_SEQ_FOR_EACH(APPEND_NAME, names, SINGLE_METHOD_NAMES)
  EXPECT_THAT(names, ElementsAre("Only"));

  std::vector<std::string> full_names;
  BOOST_PP_SEQ_FOR_EACH(APPEND_FULL_NAME, SingleMethods, SINGLE_METHODS)
  EXPECT_THAT(full_names, ElementsAre("lab.sizes.Single/Only"));
}

TEST(MacrosTest, ServiceWithoutMethodsListsNone) {
  std::vector<std::string> names;
  BOOST_PP_SEQ_FOR_EACH(APPEND_NAME, names, NOTHING_METHOD_NAMES)
  EXPECT_THAT(names, IsEmpty());

  std::vector<std::string> full_names;
  BOOST_PP_SEQ_FOR_EACH(APPEND_FULL_NAME, NothingMethods, NOTHING_METHODS)
  EXPECT_THAT(full_names, IsEmpty());
}

TEST(MacrosTest, SequencesHaveOneElementAMethod) {
  static_assert(BOOST_PP_SEQ_SIZE(SEVERAL_METHODS) == 3, "");
  static_assert(BOOST_PP_SEQ_SIZE(SEVERAL_METHOD_NAMES) == 3, "");
  static_assert(BOOST_PP_SEQ_SIZE(SINGLE_METHODS) == 1, "");
  static_assert(BOOST_PP_SEQ_SIZE(SINGLE_METHOD_NAMES) == 1, "");
  const SeveralMethod methods[] = {BOOST_PP_SEQ_ENUM(SEVERAL_METHODS)};
  EXPECT_THAT(methods,
              ElementsAre(Several_Third, Several_first, Several_Second));
}

TEST(MacrosTest, MacroOfTheServiceNamesItsClass) {
  EXPECT_STREQ(SEVERAL::full_name(), "lab.sizes.Several");
  EXPECT_STREQ(SINGLE::full_name(), "lab.sizes.Single");
  EXPECT_STREQ(NOTHING::full_name(), "lab.sizes.Nothing");
}

// The word in front is the same for every service, and users' code knows it.
TEST(MacrosTest, MethodMacroPastesTheFixedWord) {
  EXPECT_STREQ(BOOST_PP_STRINGIZE(SEVERAL_METHOD(First)), "RPCTEST_First");
  EXPECT_STREQ(BOOST_PP_STRINGIZE(NOTHING_METHOD(First)), "RPCTEST_First");
}

}  // namespace
