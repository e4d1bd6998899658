#include "naming/file_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FileNamesTest, RemovesOneKnownSuffixForTheBaseName) {
  const std::map<std::string, std::string> cases = {
      {"svc.proto", "svc"},
      {"a/b/svc.proto", "a/b/svc"},
      {"dir/svc.protodevel", "dir/svc"},
      {"x.proto.protodevel", "x.proto"},
      {"x.protodevel.proto", "x.protodevel"},
      {"x.proto.proto", "x.proto"},
      {"svc.txt", "svc.txt"},
      {"svc", "svc"},
      {".proto", ""},
      {".protodevel", ""},
      {"proto", "proto"},
      {"xproto", "xproto"},
      {"protodevel", "protodevel"},
      {"xprotodevel", "xprotodevel"},
      {"svc.Proto", "svc.Proto"},
      {"svc.proto2", "svc.proto2"},
      {"a.proto/svc", "a.proto/svc"},
      {"\xC3\xA4.proto", "\xC3\xA4"},
      {"", ""},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(OutputBaseName(row.first), row.second) << row.first;
  }
}

TEST(FileNamesTest, SplitsThePackageOutermostFirst) {
  const auto parts = [](const std::string& package) {
    return PackageParts(
        testing::ParseFile("x.proto", testing::FileHead(package)));
  };
  EXPECT_THAT(parts("a.b.c"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(parts("demo"), ElementsAre("demo"));
  EXPECT_THAT(parts(""), IsEmpty());
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
