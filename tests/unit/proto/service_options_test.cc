// The options schema, which users import: its names and numbers stay as they
// are, or their files stop meaning what they meant.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <string>

#include "morvane/qarn/rpc/service_options.pb.h"

namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;

constexpr char kPath[] = "morvane/qarn/rpc/service_options.proto";

const FileDescriptor* Schema() {
  // Mentioned, so that the linker keeps what registers the schema.
  EXPECT_EQ(morvane::qarn::rpc::client_streaming.number(), 50001);
  return DescriptorPool::generated_pool()->FindFileByName(kPath);
}

TEST(ServiceOptionsTest, DeclareThreeOptionalBooleansOfMethods) {
  const FileDescriptor* schema = Schema();
  ASSERT_NE(schema, nullptr);
  EXPECT_EQ(schema->package(), "morvane.qarn.rpc");
  ASSERT_EQ(schema->extension_count(), 3);
  const struct {
    const char* name;
    int number;
  } expected[] = {{"client_streaming", 50001},
                  {"server_streaming", 50002},
                  {"requires_local_context", 50010}};
  for (int i = 0; i < 3; ++i) {
    const FieldDescriptor* option = schema->extension(i);
    EXPECT_EQ(option->name(), expected[i].name);
    EXPECT_EQ(option->number(), expected[i].number);
    EXPECT_EQ(option->containing_type()->full_name(),
              "google.protobuf.MethodOptions");
    EXPECT_EQ(option->type(), FieldDescriptor::TYPE_BOOL);
    EXPECT_FALSE(option->is_required());
    EXPECT_FALSE(option->is_repeated());
    EXPECT_FALSE(option->has_default_value());
    EXPECT_FALSE(option->default_value_bool());
  }
}

TEST(ServiceOptionsTest, DeclareNothingElse) {
  const FileDescriptor* schema = Schema();
  ASSERT_NE(schema, nullptr);
  EXPECT_EQ(schema->message_type_count(), 0);
  EXPECT_EQ(schema->enum_type_count(), 0);
  EXPECT_EQ(schema->service_count(), 0);
  ASSERT_EQ(schema->dependency_count(), 1);
  EXPECT_EQ(schema->dependency(0)->name(), "google/protobuf/descriptor.proto");
  FileDescriptorProto proto;
  schema->CopyTo(&proto);
  EXPECT_FALSE(proto.has_options());
  EXPECT_FALSE(proto.has_syntax());
  for (const auto& option : proto.extension()) {
    EXPECT_EQ(option.extendee(), ".google.protobuf.MethodOptions");
  }
  EXPECT_EQ(proto.ByteSizeLong(), 278u);
}

}  // namespace
