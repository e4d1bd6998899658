#include "plugin/parse_parameters.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qarn {
namespace rpc {
namespace {

struct ParseCase {
  std::string text;
  std::string services_namespace;
};

TEST(ParseParametersTest, TakesTheLastServicesNamespace) {
  const std::vector<ParseCase> cases = {
      {"", ""},
      {"services_namespace=api", "api"},
      {"services_namespace=", ""},
      {"services_namespace", ""},
      {"services_namespace=a=b", "a"},
      {"services_namespace=a=", "a"},
      {"services_namespace==a", ""},
      {"services_namespace=a,services_namespace=b", "b"},
      {"services_namespace=a,services_namespace=", ""},
      {"services_namespace=a,services_namespace", ""},
      {"services_namespace=a::b", "a::b"},
      {"services_namespace=a.b", "a.b"},
      {"services_namespace= a b ", " a b "},
      {"services_namespace=\xC3\xA4", "\xC3\xA4"},
  };
  for (const ParseCase& row : cases) {
    Parameters parameters;
    std::string error = "untouched";
    EXPECT_TRUE(ParseParameters(row.text, &parameters, &error)) << row.text;
    EXPECT_EQ(parameters.services_namespace, row.services_namespace)
        << row.text;
    EXPECT_EQ(error, "untouched") << row.text;
  }
}

struct RefusalCase {
  std::string text;
  std::string error;
  std::string services_namespace;  // What items before the bad one have set.
};

TEST(ParseParametersTest, RefusesTheFirstUnknownItem) {
  const std::vector<RefusalCase> cases = {
      {"foo", "Unknown parameter: foo", ""},
      {"foo=1", "Unknown parameter: foo=1", ""},
      {"foo=1,services_namespace=a", "Unknown parameter: foo=1", ""},
      {"foo=1=2,bar=3", "Unknown parameter: foo=1=2", ""},
      {"services_namespace=a,bar=3", "Unknown parameter: bar=3", "a"},
      {"services_namespace=a,", "Unknown parameter: ", "a"},
      {",services_namespace=a", "Unknown parameter: ", ""},
      {"services_namespace=a,,services_namespace=b",
       "Unknown parameter: ", "a"},
      {",", "Unknown parameter: ", ""},
      {"=a", "Unknown parameter: =a", ""},
      {"Services_namespace=a", "Unknown parameter: Services_namespace=a", ""},
      {" services_namespace=a", "Unknown parameter:  services_namespace=a", ""},
      {"services_namespace =a", "Unknown parameter: services_namespace =a", ""},
      {"services_namespace2=a", "Unknown parameter: services_namespace2=a", ""},
  };
  for (const RefusalCase& row : cases) {
    Parameters parameters;
    std::string error = "replaced";
    EXPECT_FALSE(ParseParameters(row.text, &parameters, &error)) << row.text;
    EXPECT_EQ(error, row.error) << row.text;
    EXPECT_EQ(parameters.services_namespace, row.services_namespace)
        << row.text;
  }
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
