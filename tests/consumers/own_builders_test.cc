// A program that links section builders of its own in place of ours, and the
// generator from our library: which of them are called, when, and with what.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "header/frame.h"
#include "header/services.h"
#include "plugin/generator.h"
#include "plugin/parameters.h"
#include "source/frame.h"
#include "source/services.h"
#include "support/generate.h"
#include "support/proto_sources.h"

namespace {

std::vector<std::string> calls;

std::string Built(const std::string& section,
                  const qarn::rpc::Parameters& parameters) {
  calls.push_back(section + " for " + parameters.services_namespace);
  return section + "\n";
}

class Context : public qarn::rpc::testing::MemoryContext {
 public:
  google::protobuf::io::ZeroCopyOutputStream* Open(
      const std::string& name) override {
    calls.push_back("open " + name);
    return MemoryContext::Open(name);
  }
};

}  // namespace

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;

std::string GetHeaderPrologue(const FileDescriptor*, const Parameters& api) {
  return Built("header prologue", api);
}
std::string GetHeaderIncludes(const FileDescriptor*, const Parameters& api) {
  return Built("header includes", api);
}
std::string GetHeaderServices(const FileDescriptor*, const Parameters& api) {
  return Built("header services", api);
}
std::string GetHeaderEpilogue(const FileDescriptor*, const Parameters& api) {
  return Built("header epilogue", api);
}
std::string GetSourcePrologue(const FileDescriptor*, const Parameters& api) {
  return Built("source prologue", api);
}
std::string GetSourceIncludes(const FileDescriptor*, const Parameters& api) {
  return Built("source includes", api);
}
std::string GetSourceServices(const FileDescriptor*, const Parameters& api) {
  return Built("source services", api);
}
std::string GetSourceEpilogue(const FileDescriptor*, const Parameters& api) {
  return Built("source epilogue", api);
}

}  // namespace rpc
}  // namespace qarn

namespace {

TEST(OwnBuildersTest, AreCalledFromTheLastSectionToTheFirstBeforeAFileIsOpen) {
  const auto* file = qarn::rpc::testing::ParseFile(
      "a.proto", qarn::rpc::testing::FileHead("p"));
  Context context;
  std::string error;
  ASSERT_TRUE(::CppGenerator().Generate(file, "services_namespace=api",
                                        &context, &error));
  EXPECT_THAT(calls, ::testing::ElementsAre(
                         "header epilogue for api", "header services for api",
                         "header includes for api", "header prologue for api",
                         "open a.rpc.h", "source epilogue for api",
                         "source services for api", "source includes for api",
                         "source prologue for api", "open a.rpc.cpp"));
  EXPECT_EQ(context.files().at("a.rpc.h"),
            "header prologue\nheader includes\nheader services\n"
            "header epilogue\n");
  EXPECT_EQ(context.files().at("a.rpc.cpp"),
            "source prologue\nsource includes\nsource services\n"
            "source epilogue\n");
}

}  // namespace
