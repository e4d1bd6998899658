#include "in_memory.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <cstdlib>
#include <iostream>

#include "morvane/qarn/rpc/service_options.pb.h"

namespace {

using google::protobuf::DescriptorProto;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorProto;
using google::protobuf::MethodDescriptorProto;

constexpr int kMessages = 40;

std::string MessageName(int index) {
  return "Record" + std::to_string(index % kMessages);
}

void AddField(const char* name, int number, FieldDescriptorProto::Type type,
              DescriptorProto* message) {
  FieldDescriptorProto* field = message->add_field();
  field->set_name(name);
  field->set_number(number);
  field->set_label(FieldDescriptorProto::LABEL_OPTIONAL);
  field->set_type(type);
}

void AddMessage(int index, FileDescriptorProto* file) {
  DescriptorProto* message = file->add_message_type();
  message->set_name(MessageName(index));
  AddField("title", 1, FieldDescriptorProto::TYPE_STRING, message);
  AddField("number", 2, FieldDescriptorProto::TYPE_INT64, message);
}

void AddMethod(int index, google::protobuf::ServiceDescriptorProto* service) {
  MethodDescriptorProto* method = service->add_method();
  method->set_name("Fetch" + std::to_string(index));
  method->set_input_type(".bench.wide." + MessageName(index));
  method->set_output_type(".bench.wide." + MessageName(index * 7 + 1));
  if (index % 4 == 1 || index % 4 == 3) {
    method->mutable_options()->SetExtension(
        morvane::qarn::rpc::client_streaming, true);
  }
  if (index % 4 == 2 || index % 4 == 3) {
    method->mutable_options()->SetExtension(
        morvane::qarn::rpc::server_streaming, true);
  }
}

}  // namespace

const google::protobuf::FileDescriptor* BuildWideFile(
    int methods, GenericServices generic_services,
    google::protobuf::DescriptorPool* pool) {
  FileDescriptorProto file;
  file.set_name("wide.proto");
  file.set_package("bench.wide");
  file.mutable_options()->set_cc_generic_services(generic_services ==
                                                  GenericServices::kOn);
  for (int i = 0; i < kMessages; ++i) {
    AddMessage(i, &file);
  }
  auto* service = file.add_service();
  service->set_name("Archive");
  for (int i = 0; i < methods; ++i) {
    AddMethod(i, service);
  }
  const google::protobuf::FileDescriptor* built = pool->BuildFile(file);
  if (built == nullptr) {
    std::cerr << "protobuf refused the file of the benchmark\n";
    std::exit(1);
  }
  return built;
}

google::protobuf::io::ZeroCopyOutputStream* InMemoryFiles::Open(
    const std::string& name) {
  return new google::protobuf::io::StringOutputStream(&texts_[name]);
}

google::protobuf::io::ZeroCopyOutputStream* InMemoryFiles::OpenForInsert(
    const std::string& name, const std::string& insertion_point) {
  return Open(name + "@" + insertion_point);
}

std::size_t InMemoryFiles::bytes() const {
  std::size_t sum = 0;
  for (const auto& [name, text] : texts_) {
    sum += text.size();
  }
  return sum;
}
