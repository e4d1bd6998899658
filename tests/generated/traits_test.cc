// The traits describe each method to the compiler: its names, its kind and its
// message types, without an object and without a string comparison.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "kinds.rpc.h"
#include "qarn/rpc.h"

namespace {

using namespace ::lab::kinds::api;
using ::lab::kinds::Answer;
using ::lab::kinds::Query;
using ::qarn::rpc::RpcMethodType;

// rpc_type is a constant expression.
static_assert(KindsMethods<Kinds_Ask>::rpc_type == ::qarn::rpc::RMT_SIMPLE, "");
static_assert(KindsMethods<Kinds_Watch>::rpc_type ==
                  ::qarn::rpc::RMT_SERVER_STREAMING,
              "");
static_assert(KindsMethods<Kinds_Upload>::rpc_type ==
                  ::qarn::rpc::RMT_CLIENT_STREAMING,
              "");
static_assert(KindsMethods<Kinds_Chat>::rpc_type ==
                  ::qarn::rpc::RMT_BIDI_STREAMING,
              "");

static_assert(std::is_same<decltype(KindsMethods<Kinds_Ask>::rpc_type),
                           const RpcMethodType>::value,
              "");
static_assert(std::is_same<KindsMethods<Kinds_Ask>::request, Query>::value, "");
static_assert(std::is_same<KindsMethods<Kinds_Ask>::response, Answer>::value,
              "");
static_assert(std::is_same<KindsMethods<Kinds_Chat>::request, Query>::value,
              "");
static_assert(std::is_same<KindsMethods<Kinds_Chat>::response, Answer>::value,
              "");

// The enumerators count the methods in the order of the file.
static_assert(Kinds_Ask == 0, "");
static_assert(Kinds_Watch == 1, "");
static_assert(Kinds_Upload == 2, "");
static_assert(Kinds_Chat == 3, "");

// Two services with a method of one name have traits of their own.
static_assert(
    !std::is_same<KindsMethods<Kinds_Ask>, OracleMethods<Oracle_Ask>>::value,
    "");

TEST(TraitsTest, NamesOfEachMethod) {
  EXPECT_STREQ(KindsMethods<Kinds_Ask>::name(), "Ask");
  EXPECT_STREQ(KindsMethods<Kinds_Watch>::name(), "Watch");
  EXPECT_STREQ(KindsMethods<Kinds_Upload>::name(), "Upload");
  EXPECT_STREQ(KindsMethods<Kinds_Chat>::name(), "Chat");
  EXPECT_STREQ(OracleMethods<Oracle_Ask>::name(), "Ask");
}

TEST(TraitsTest, FullNamesSeparateTheMethodByASlash) {
  EXPECT_STREQ(KindsMethods<Kinds_Ask>::full_name(), "lab.kinds.Kinds/Ask");
  EXPECT_STREQ(KindsMethods<Kinds_Watch>::full_name(), "lab.kinds.Kinds/Watch");
  EXPECT_STREQ(KindsMethods<Kinds_Upload>::full_name(),
               "lab.kinds.Kinds/Upload");
  EXPECT_STREQ(KindsMethods<Kinds_Chat>::full_name(), "lab.kinds.Kinds/Chat");
  EXPECT_STREQ(OracleMethods<Oracle_Ask>::full_name(), "lab.kinds.Oracle/Ask");
}

// Dispatch on the kind without a run-time branch, as a runtime does it.
template <class Traits>
std::string Describe(
    std::integral_constant<RpcMethodType, ::qarn::rpc::RMT_SIMPLE>) {
  return std::string(Traits::name()) + " is simple";
}
template <class Traits, RpcMethodType type>
std::string Describe(std::integral_constant<RpcMethodType, type>) {
  return std::string(Traits::name()) + " streams";
}
template <class Traits>
std::string Describe() {
  return Describe<Traits>(
      std::integral_constant<RpcMethodType, Traits::rpc_type>());
}

TEST(TraitsTest, KindSelectsAnOverload) {
  EXPECT_EQ(Describe<KindsMethods<Kinds_Ask>>(), "Ask is simple");
  EXPECT_EQ(Describe<KindsMethods<Kinds_Watch>>(), "Watch streams");
  EXPECT_EQ(Describe<KindsMethods<Kinds_Chat>>(), "Chat streams");
}

}  // namespace
