#include "robustness/fuzz/request_builder.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "plugin/any_syntax_generator.h"
#include "robustness/fuzz/byte_source.h"

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

namespace pb = google::protobuf;

// In each table the first entry is the plain one. Names that templates use, or
// that the generated classes declare, are the likeliest to be mixed up.
const char* const kNames[] = {
    "Echo",   "Ping",    "Msg",    "Service",    "Method",     "Stub",
    "name",   "package", "ns",     "part",       "Request",    "Response",
    "A_b",    "_",       "__x",    "Echo_v2",    "eCHO",       "Outer",
    "Inner",  "service", "class",  "Container",  "full_name",  "context",
    "Echo_2", "channel", "qarn",   "rpc",        "filename",   "prefix",
    "i",      "I",       "METHOD", "PackageDot", "namespaces", "Methods",
};
const char* const kPackageParts[] = {"a",    "b",       "qarn", "rpc", "_",
                                     "deep", "morvane", "std",  "x1",  "part"};
const char* const kFolders[] = {"",          "a/",       "a/b/",        "./x/",
                                "a.b/",      "a.proto/", "with blank/", "$x$/",
                                "\xC3\xA9/", "../"};
const char* const kStems[] = {"echo",         "",     ".",  "x.proto",
                              "x.protodevel", "x y",  "$",  "$filename$",
                              "\xE2\x82\xAC", "{",    "\"", "x\ny",
                              "x\\y",         "Proto"};
const char* const kSuffixes[] = {".proto", ".protodevel", "",
                                 ".txt",   ".PROTO",      ".proto.protodevel"};
const char* const kParameters[] = {
    "",
    "services_namespace=api",
    "services_namespace=",
    "services_namespace",
    "services_namespace=a::b",
    "services_namespace=a=b",
    "services_namespace=a,services_namespace=b",
    "services_namespace= a b ",
    "services_namespace=$Service$",
    "services_namespace=}",
    "services_namespace=a,",
    "foo=1",
    ",",
    "=",
    "Services_namespace=a",
    "services_namespace=service",
};

constexpr char kSchema[] = "morvane/qarn/rpc/service_options.proto";

template <std::size_t kSize>
std::string Pick(ByteSource* bytes, const char* const (&table)[kSize]) {
  return table[bytes->Below(kSize)];
}

// What has been declared so far and where.
struct Message {
  std::string full_name;
  std::string file;
};

// The options of our schema, all of them Boolean, and `deprecated`.
std::vector<int> OptionNumbers() {
  const pb::FileDescriptor* schema =
      pb::DescriptorPool::generated_pool()->FindFileByName(kSchema);
  std::vector<int> numbers;
  for (int i = 0; i < schema->extension_count(); ++i) {
    numbers.push_back(schema->extension(i)->number());
  }
  numbers.push_back(pb::MethodOptions::kDeprecatedFieldNumber);
  return numbers;
}

// What a field begins with on the wire.
constexpr std::uint32_t kVarint = 0;
constexpr std::uint32_t kLengthDelimited = 2;
std::string Tag(int number, std::uint32_t type) {
  std::string tag;
  pb::io::StringOutputStream stream(&tag);
  pb::io::CodedOutputStream(&stream).WriteVarint32(
      static_cast<std::uint32_t>(number) << 3 | type);
  return tag;
}

class Builder {
 public:
  explicit Builder(ByteSource* bytes)
      : bytes_(bytes), variant_(bytes->Below(8)) {}

  pb::compiler::CodeGeneratorRequest Build() {
    const std::string parameter = bytes_->OneIn(16)
                                      ? "services_namespace=" + bytes_->Text(12)
                                      : Pick(bytes_, kParameters);
    if (!parameter.empty()) {
      request_.set_parameter(parameter);
    }
    if (bytes_->OneIn(32)) {
      ImportSchema();
    }
    for (std::size_t left = bytes_->Below(4) + 1; left > 0; --left) {
      AddFile();
    }
    if (variant_ == kLastFileIsRefused) {
      request_.mutable_proto_file()
          ->rbegin()
          ->mutable_options()
          ->set_cc_generic_services(true);
    }
    return request_;
  }

 private:
  // Lets each file import the options. The schema itself, which protoc sends
  // along then, is left to AnswerTo.
  void ImportSchema() {
    imports_schema_ = true;
    packages_ = {"google", "google.protobuf", "morvane", "morvane.qarn",
                 "morvane.qarn.rpc"};
    if (bytes_->OneIn(2)) {
      request_.add_file_to_generate(kSchema);
    }
  }

  void AddFile() {
    pb::FileDescriptorProto* file = request_.add_proto_file();
    file->set_name(NewFileName());
    file->set_package(NewPackage());
    // What is for other languages, and for readers, is not for us.
    file->mutable_options()->set_java_package("of.java");
    file->mutable_options()->set_go_package("of/go");
    auto* comment = file->mutable_source_code_info()->add_location();
    for (int i = 0; i < 3; ++i) comment->add_span(0);
    comment->set_leading_comments(" Of the file.\n");
    if (imports_schema_) {
      file->add_dependency(kSchema);
    }
    SetSyntax(bytes_->Below(4), file);
    for (std::size_t left = bytes_->Below(4); left > 0; --left) {
      AddMessage(file->package(), file->name(), 0, file->add_message_type());
      if (file->syntax() == "proto3") {
        AddOptionalField(
            file->mutable_message_type(file->message_type_size() - 1));
      }
    }
    for (std::size_t left = bytes_->Below(4); left > 0; --left) {
      AddService(file);
    }
    if (bytes_->OneIn(4)) {
      file->mutable_options()->set_cc_generic_services(bytes_->OneIn(8));
    }
    if (!bytes_->OneIn(16)) {
      request_.add_file_to_generate(file->name());
    }
  }

  // proto2 is the plain choice. A file needs neither a syntax nor an edition
  // for its services, so the generator must not care.
  static void SetSyntax(std::size_t choice, pb::FileDescriptorProto* file) {
    if (choice == 3) {
      file->set_syntax("proto3");
    }
#ifdef QARN_RPC_HAS_EDITIONS
    if (choice == 2) {
      file->set_syntax("editions");
      file->set_edition(pb::EDITION_2023);
    }
#endif
  }

  // Gives the message a field that proto3 marks `optional`, the way protoc
  // sends one: in a oneof of its own.
  static void AddOptionalField(pb::DescriptorProto* message) {
    pb::FieldDescriptorProto* field = message->add_field();
    field->set_name("optional_field");
    field->set_number(1);
    field->set_label(pb::FieldDescriptorProto::LABEL_OPTIONAL);
    field->set_type(pb::FieldDescriptorProto::TYPE_INT32);
    field->set_proto3_optional(true);
    field->set_oneof_index(0);
    message->add_oneof_decl()->set_name("_optional_field");
  }

  std::string NewFileName() {
    const std::string folder = Pick(bytes_, kFolders);
    std::string stem =
        bytes_->OneIn(16) ? bytes_->Text(8) : Pick(bytes_, kStems);
    // The one byte that protobuf does not take in a file name.
    std::replace(stem.begin(), stem.end(), '\0', 'x');
    const std::string suffix = Pick(bytes_, kSuffixes);
    std::string name = folder + stem + suffix;
    for (int number = 1; !file_names_.insert(name).second; ++number) {
      name = folder + stem + std::to_string(number) + suffix;
    }
    return name;
  }

  // A package may stand in many files, but no message or service may have the
  // name of a package or of one that it lies in.
  std::string NewPackage() {
    std::string package;
    for (std::size_t left = bytes_->Below(5); left > 0; --left) {
      const std::string scope = package.empty() ? "" : package + ".";
      package = scope + Pick(bytes_, kPackageParts);
      while (symbols_.count(package) > 0) {
        package += "_";
      }
      packages_.insert(package);
    }
    return package;
  }

  // A name that is free in `scope`, and takes it.
  std::string NewName(const std::string& scope) {
    const std::string prefix = scope.empty() ? "" : scope + ".";
    std::string name = Pick(bytes_, kNames);
    if (bytes_->OneIn(32)) {
      name += std::string(200, 'n');
    }
    while (packages_.count(prefix + name) > 0 ||
           !symbols_.insert(prefix + name).second) {
      name += "_" + std::to_string(symbols_.size());
    }
    return name;
  }

  void AddMessage(const std::string& scope, const std::string& file_name,
                  int depth, pb::DescriptorProto* message) {
    message->set_name(NewName(scope));
    const std::string full_name =
        (scope.empty() ? "" : scope + ".") + message->name();
    messages_.push_back({full_name, file_name});
    if (depth == 20) {  // Far below what protobuf's parser takes.
      return;
    }
    for (std::size_t left = bytes_->Below(3); left > 0; --left) {
      AddMessage(full_name, file_name, depth + 1, message->add_nested_type());
    }
  }

  void AddService(pb::FileDescriptorProto* file) {
    pb::ServiceDescriptorProto* service = file->add_service();
    service->set_name(NewName(file->package()));
    const std::string full_name =
        (file->package().empty() ? "" : file->package() + ".") +
        service->name();
    for (std::size_t left = bytes_->Below(6); left > 0; --left) {
      pb::MethodDescriptorProto* method = service->add_method();
      method->set_name(NewName(full_name));
      method->set_input_type(PickMessage(file));
      method->set_output_type(PickMessage(file));
      SetOptions(method);
    }
  }

  // The type name of any message so far; imports its file where needed.
  std::string PickMessage(pb::FileDescriptorProto* file) {
    if (messages_.empty()) {
      AddMessage(file->package(), file->name(), 20, file->add_message_type());
    }
    const std::size_t choices = std::min<std::size_t>(messages_.size(), 256);
    const Message& message = messages_[bytes_->Below(choices)];
    if (message.file != file->name()) {
      Import(message.file, file);
    }
    return "." + message.full_name;
  }

  static void Import(const std::string& name, pb::FileDescriptorProto* file) {
    for (const std::string& imported : file->dependency()) {
      if (imported == name) {
        return;
      }
    }
    file->add_dependency(name);
  }

  // Written field by field in wire format, as only there an option can occur
  // more than once, or with a wire type that is not its own.
  void SetOptions(pb::MethodDescriptorProto* method) {
    if (bytes_->OneIn(8)) {
      method->set_client_streaming(bytes_->OneIn(2));
      method->set_server_streaming(bytes_->OneIn(2));
    }
    static const std::vector<int> options = OptionNumbers();
    std::string wire;
    if (variant_ == kEachOptionIsSet) {
      for (const int option : options) {
        wire += Tag(option, kVarint) + '\0';
      }
    }
    for (std::size_t left = bytes_->Below(5); left > 0; --left) {
      const int option = options[bytes_->Below(options.size())];
      if (bytes_->OneIn(32)) {
        wire += Tag(option, kLengthDelimited) + "\1x";
      } else {
        wire += Tag(option, kVarint) + (bytes_->OneIn(4) ? '\0' : '\1');
      }
    }
    // An option with another wire type is kept as an unknown field, so that all
    // of it parses.
    if (!wire.empty()) {
      static_cast<void>(method->mutable_options()->ParseFromString(wire));
    }
  }

  ByteSource* const bytes_;
  // A request in eight sets each option, to false where it is not set
  // otherwise, which must change no text. Another has a last file that is
  // refused, behind those that are not.
  static constexpr std::size_t kLastFileIsRefused = 6;
  static constexpr std::size_t kEachOptionIsSet = 7;
  const std::size_t variant_;
  pb::compiler::CodeGeneratorRequest request_;
  bool imports_schema_ = false;
  std::set<std::string> file_names_;
  std::set<std::string> packages_;
  std::set<std::string> symbols_;
  std::vector<Message> messages_;
};

}  // namespace

pb::compiler::CodeGeneratorRequest BuildRequest(const std::uint8_t* data,
                                                std::size_t size) {
  ByteSource bytes(data, size);
  return Builder(&bytes).Build();
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
