#include "support/proto_sources.h"

#include <google/protobuf/compiler/importer.h>
#include <google/protobuf/descriptor_database.h>

#include <deque>
#include <set>
#include <stdexcept>
#include <utility>

#include "morvane/qarn/rpc/service_options.pb.h"
#include "support/protobuf_compat.h"

namespace qarn {
namespace rpc {
namespace testing {

namespace {

namespace pb = google::protobuf;

// Appends `file` to `*files`, after all that it imports, unless it is there.
void AppendWithImports(const pb::FileDescriptor* file,
                       std::set<std::string>* seen,
                       pb::FileDescriptorSet* files) {
  if (!seen->insert(std::string(file->name())).second) {
    return;
  }
  for (int i = 0; i < file->dependency_count(); ++i) {
    AppendWithImports(file->dependency(i), seen, files);
  }
  file->CopyTo(files->add_file());
}

}  // namespace

ProtoSources::ProtoSources(std::map<std::string, std::string> texts)
    : texts_(std::move(texts)), pool_(new pb::DescriptorPool) {
  // Read, so that the linker keeps the options schema and the generated pool
  // can serve it as an import.
  static const volatile int linked =
      morvane::qarn::rpc::client_streaming.number();
  static_cast<void>(linked);

  MemorySourceTree tree(texts_);
  pb::DescriptorPoolDatabase linked_in(*pb::DescriptorPool::generated_pool());
  pb::compiler::SourceTreeDescriptorDatabase sources(&tree, &linked_in);
  ErrorText errors;
  sources.RecordErrorsTo(&errors);
  pb::DescriptorPool parsed(&sources, sources.GetValidationErrorCollector());
  pb::FileDescriptorSet sent;
  std::set<std::string> seen;
  for (const std::string& name : Names()) {
    const pb::FileDescriptor* file = parsed.FindFileByName(name);
    if (file == nullptr) {
      throw std::runtime_error("cannot parse " + name + ":\n" + errors.text());
    }
    AppendWithImports(file, &seen, &sent);
  }
  if (!files_.ParseFromString(sent.SerializeAsString())) {
    throw std::runtime_error("cannot read the parsed files back");
  }
  for (const pb::FileDescriptorProto& file : files_.file()) {
    if (pool_->BuildFile(file) == nullptr) {
      throw std::runtime_error("cannot build " + file.name());
    }
  }
}

std::vector<std::string> ProtoSources::Names() const {
  std::vector<std::string> names;
  for (const auto& text : texts_) {
    names.push_back(text.first);
  }
  return names;
}

const pb::FileDescriptor* ProtoSources::File(const std::string& name) const {
  const pb::FileDescriptor* file = pool_->FindFileByName(name);
  if (file == nullptr) {
    throw std::runtime_error("no file " + name + " in this set");
  }
  return file;
}

pb::compiler::CodeGeneratorRequest ProtoSources::Request(
    const std::vector<std::string>& names, const std::string& parameter) const {
  pb::compiler::CodeGeneratorRequest request;
  for (const std::string& name : names) {
    request.add_file_to_generate(name);
  }
  if (!parameter.empty()) {
    request.set_parameter(parameter);
  }
  *request.mutable_proto_file() = files_.file();
  return request;
}

const pb::FileDescriptor* ParseFile(const std::string& name,
                                    const std::string& text) {
  static std::deque<ProtoSources> kept;
  kept.push_back(
      ProtoSources(std::map<std::string, std::string>{{name, text}}));
  return kept.back().File(name);
}

std::string FileHead(const std::string& package) {
  return "syntax = \"proto2\";\n" +
         (package.empty() ? "" : "package " + package + ";\n") +
         "import \"morvane/qarn/rpc/service_options.proto\";\n";
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn
