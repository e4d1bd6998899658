#include "robustness/fuzz/properties.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "lint/lint.h"
#include "morvane/qarn/rpc/service_options.pb.h"
#include "plugin/generator.h"
#include "support/independent/plain_writer.h"
#include "support/protobuf_compat.h"

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

namespace pb = google::protobuf;

using Request = pb::compiler::CodeGeneratorRequest;
using Response = pb::compiler::CodeGeneratorResponse;

constexpr char kSchema[] = "morvane/qarn/rpc/service_options.proto";

// The response as a text that a person can compare.
std::string Text(const Response& response) {
  std::string text = "error: " + response.error() + "\n";
  for (const auto& file : response.file()) {
    text += "file: " + file.name() + "\n" + file.content();
  }
  return text;
}

// The number and text of the first line of `text` that `other` has not at that
// place.
std::string FirstForeignLine(const std::string& text,
                             const std::string& other) {
  std::istringstream lines(text);
  std::istringstream other_lines(other);
  std::string other_line;
  int number = 1;
  for (std::string line; std::getline(lines, line); ++number) {
    if (!std::getline(other_lines, other_line) || line != other_line) {
      return std::to_string(number) + ": " + line;
    }
  }
  return std::to_string(number) + ": its end";
}

// The response is a function of the request: which files are refused, and each
// file's place, name and text. So no file's text depends on the others, on
// their order or on an earlier run.
std::string TheIndependentWriterAgrees(const Answer& answer) {
  const std::string& parameter = answer.request.parameter();
  if (parameter.find("=\n") != std::string::npos &&
      testing::PrinterIndentsAfterLineBreaks()) {
    return "";
  }
  const Response expected = independent::WriteResponse(answer.files, parameter);
  return answer.response.SerializeAsString() == expected.SerializeAsString()
             ? ""
             : "the response is not the independent writer's, from line " +
                   FirstForeignLine(Text(answer.response), Text(expected));
}

// Whatever the names are. What the findings should be, tests/lint says.
std::string TheLinterFindsLinesInTheFilesToGenerate(const Answer& answer) {
  for (const char* standard : {"standard=11", "standard=20"}) {
    LintParameters parameters;
    std::string error;
    if (!ParseLintParameters(standard, &parameters, &error)) {
      return error;
    }
    if (!answer.request.parameter().empty() &&
        !ParseLintParameters(answer.request.parameter(), &parameters, &error)) {
      if (error.empty()) {
        return "the linter refuses the parameter without a word";
      }
      parameters.services_namespace.clear();
    }
    for (const Finding& finding : Lint(answer.files, parameters)) {
      const pb::FileDescriptor* file = finding.place.file;
      const std::string line = Format(finding);
      if (file != nullptr && std::find(answer.files.begin(), answer.files.end(),
                                       file) == answer.files.end()) {
        return "a finding stands in a file that is imported: " + line;
      }
      if (line.find('\n') != std::string::npos) {
        return "a finding has two lines: " + line;
      }
    }
  }
  return "";
}

bool IsStandardFile(const std::string& name) {
  return name == kSchema || name == "google/protobuf/descriptor.proto";
}

// The standard files that this program was compiled with.
std::vector<const pb::FileDescriptor*> StandardFiles() {
  const pb::FileDescriptor* schema =
      pb::DescriptorPool::generated_pool()->FindFileByName(kSchema);
  return {schema->dependency(0), schema};
}

bool LacksStandardFiles(const Request& request) {
  bool named = false;
  for (const std::string& name : request.file_to_generate()) {
    named = named || IsStandardFile(name);
  }
  for (const pb::FileDescriptorProto& file : request.proto_file()) {
    if (IsStandardFile(file.name())) {
      return false;
    }
    for (const std::string& name : file.dependency()) {
      named = named || IsStandardFile(name);
    }
  }
  return named;
}

// A pool of the standard files alone, built once, for pools of other files to
// lie on.
const pb::DescriptorPool* StandardPool() {
  static const pb::DescriptorPool* const pool = [] {
    auto* made = new pb::DescriptorPool;
    for (const pb::FileDescriptor* file : StandardFiles()) {
      pb::FileDescriptorProto copy;
      file->CopyTo(&copy);
      made->BuildFile(copy);
    }
    return made;
  }();
  return pool;
}

// Puts what is written into the response.
class ResponseContext : public pb::compiler::GeneratorContext {
 public:
  explicit ResponseContext(Response* response) : response_(response) {}

  pb::io::ZeroCopyOutputStream* Open(const std::string& name) override {
    auto* file = response_->add_file();
    file->set_name(name);
    return new pb::io::StringOutputStream(file->mutable_content());
  }

 private:
  Response* const response_;
};

}  // namespace

std::optional<Answer> AnswerTo(Request request) {
  Answer answer;
  answer.pool = LacksStandardFiles(request)
                    ? std::make_unique<pb::DescriptorPool>(StandardPool())
                    : std::make_unique<pb::DescriptorPool>();
  for (const pb::FileDescriptorProto& file : request.proto_file()) {
    if (answer.pool->BuildFile(file) == nullptr) {
      return std::nullopt;
    }
  }
  for (const std::string& name : request.file_to_generate()) {
    answer.files.push_back(answer.pool->FindFileByName(name));
    if (answer.files.back() == nullptr) {
      return std::nullopt;
    }
  }
  ResponseContext context(&answer.response);
  std::string error;
  CppGenerator().GenerateAll(answer.files, request.parameter(), &context,
                             &error);
  if (!error.empty()) {
    answer.response.set_error(error);
  }
  answer.request = std::move(request);
  return answer;
}

const std::vector<Property>& Properties() {
  static const std::vector<Property> properties = {
      {"TheIndependentWriterAgrees", TheIndependentWriterAgrees},
      {"TheLinterFindsLinesInTheFilesToGenerate",
       TheLinterFindsLinesInTheFilesToGenerate},
  };
  return properties;
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
