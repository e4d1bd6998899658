#include "robustness/fuzz/properties.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <sstream>
#include <utility>

#include "lint/lint.h"
#include "morvane/qarn/rpc/service_options.pb.h"
#include "plugin/any_syntax_generator.h"
#include "plugin/generator.h"
#include "support/independent/plain_writer.h"
#include "support/protobuf_compat.h"

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

namespace pb = google::protobuf;
namespace options = morvane::qarn::rpc;

using Request = pb::compiler::CodeGeneratorRequest;
using Response = pb::compiler::CodeGeneratorResponse;

constexpr char kSchema[] = "morvane/qarn/rpc/service_options.proto";

constexpr char kGenericServicesError[] =
    "cpp rpc proto compiler plugin does not work with generic services. "
    "To generate cpp rpc APIs, please set \"cc_generic_service = false\".";

// The rules that the properties need, written without the generator's own
// functions.

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() &&
         text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The base name of the two files for `file_name`: "a/x.proto" -> "a/x".
std::string BaseName(const std::string& file_name) {
  const std::size_t cut = EndsWith(file_name, ".protodevel") ? 11
                          : EndsWith(file_name, ".proto")    ? 6
                                                             : 0;
  return file_name.substr(0, file_name.size() - cut);
}

// What is said of a parameter string that is refused; "" for any other.
std::string ParameterError(const std::string& parameter) {
  if (parameter.empty()) {
    return "";
  }
  // Ended by a comma, so that an item ends at each comma and nowhere else.
  std::string left = parameter + ",";
  for (std::size_t end = left.find(','); end != std::string::npos;
       end = left.find(',')) {
    const std::string item = left.substr(0, end);
    if (item.substr(0, item.find('=')) != "services_namespace") {
      return "Unknown parameter: " + item;
    }
    left.erase(0, end + 1);
  }
  return "";
}

// The value of services_namespace in a parameter string without errors.
std::string ServicesNamespace(const std::string& parameter) {
  std::string value;
  std::istringstream items(parameter);
  for (std::string item; std::getline(items, item, ',');) {
    std::istringstream pieces(item);
    std::string key;
    value.clear();
    std::getline(pieces, key, '=');
    std::getline(pieces, value, '=');
  }
  return value;
}

// Name and text of each file of the response, as a set in which the same pair
// can occur twice: two files to generate may lead to one output name.
using Files = std::vector<std::pair<std::string, std::string>>;

Files SortedFiles(const Response& response) {
  Files files;
  for (const auto& file : response.file()) {
    files.emplace_back(file.name(), file.content());
  }
  std::sort(files.begin(), files.end());
  return files;
}

bool Same(const Response& a, const Response& b) {
  return a.SerializeAsString() == b.SerializeAsString();
}

// The response without what it declares.
Response OnlyFiles(const Response& response) {
  Response files;
  *files.mutable_file() = response.file();
  return files;
}

// What the framework makes of a request.
struct Outcome {
  // False if it refused the request before it ran the generator.
  bool accepted = false;
  Response response;
};

// Runs the generator on `request` as the plugin's main does.
Outcome Run(const Request& request) {
  Outcome outcome;
  std::string error;
  outcome.accepted = testing::AnswerRequest(request, CppGenerator(),
                                            &outcome.response, &error);
  return outcome;
}

bool IsAnswered(const Outcome& outcome) {
  return outcome.accepted && !outcome.response.has_error();
}

void ForEachMethod(
    Request* request,
    const std::function<void(pb::MethodDescriptorProto*)>& visit) {
  for (pb::FileDescriptorProto& file : *request->mutable_proto_file()) {
    for (pb::ServiceDescriptorProto& service : *file.mutable_service()) {
      for (pb::MethodDescriptorProto& method : *service.mutable_method()) {
        visit(&method);
      }
    }
  }
}

// "" if `changed` gives `response`.
std::string SameResponse(const Request& changed, const Response& response,
                         const std::string& change) {
  const Outcome outcome = Run(changed);
  return outcome.accepted && Same(outcome.response, response)
             ? ""
             : "the response changes with " + change;
}

// The first run was not the framework's own.
std::string TwoRunsGiveTheSameBytes(const Answer& answer) {
  return SameResponse(answer.request, answer.response, "the second run");
}

std::string OneRequestEqualsARequestForEachFile(const Answer& answer) {
  const Request& request = answer.request;
  const Response& response = answer.response;
  // What it declares, once.
  Response joined = response;
  joined.clear_error();
  joined.clear_file();
  for (const std::string& name : request.file_to_generate()) {
    Request single = request;
    single.clear_file_to_generate();
    single.add_file_to_generate(name);
    const Outcome alone = Run(single);
    if (!alone.accepted) {
      return name + " alone is not accepted";
    }
    joined.MergeFrom(alone.response);
    if (alone.response.has_error()) {
      break;
    }
  }
  return Same(joined, response)
             ? ""
             : "the responses for each file do not add up to the whole";
}

std::string OrderOfTheFilesChangesNoText(const Answer& answer) {
  const Request& request = answer.request;
  const Response& response = answer.response;
  if (response.has_error()) {
    return "";
  }
  Request reversed = request;
  std::reverse(reversed.mutable_file_to_generate()->begin(),
               reversed.mutable_file_to_generate()->end());
  const Outcome backward = Run(reversed);
  return IsAnswered(backward) &&
                 SortedFiles(response) == SortedFiles(backward.response)
             ? ""
             : "the files differ when the order is reversed";
}

// Takes `dropped` out of the list of files to generate and, with `unsend`, out
// of the request altogether.
std::string OthersAreTheSameWithout(const std::string& dropped, bool unsend,
                                    const Request& request,
                                    const Response& response) {
  Request fewer = request;
  fewer.clear_file_to_generate();
  Response expected;
  for (int i = 0; i < request.file_to_generate_size(); ++i) {
    if (request.file_to_generate(i) == dropped) {
      continue;
    }
    fewer.add_file_to_generate(request.file_to_generate(i));
    *expected.add_file() = response.file(2 * i);
    *expected.add_file() = response.file(2 * i + 1);
  }
  if (unsend) {
    fewer.mutable_proto_file()->RemoveLast();
  }
  const Outcome rest = Run(fewer);
  return IsAnswered(rest) && SortedFiles(rest.response) == SortedFiles(expected)
             ? ""
             : "other files change without " + dropped;
}

std::string RemovingAFileChangesNoOther(const Answer& answer) {
  const Request& request = answer.request;
  const Response& response = answer.response;
  if (response.has_error() || request.file_to_generate_size() == 0) {
    return "";
  }
  const std::string wrong = OthersAreTheSameWithout(
      request.file_to_generate(0), /*unsend=*/false, request, response);
  // No file can import the last one, so it may go altogether.
  const int last = request.proto_file_size() - 1;
  return wrong.empty()
             ? OthersAreTheSameWithout(request.proto_file(last).name(),
                                       /*unsend=*/true, request, response)
             : wrong;
}

std::string RequiresLocalContextChangesNothing(const Answer& answer) {
  const Request& request = answer.request;
  const Response& response = answer.response;
  Request set = request;
  ForEachMethod(&set, [](pb::MethodDescriptorProto* method) {
    method->mutable_options()->SetExtension(options::requires_local_context,
                                            true);
  });
  Request cleared = request;
  ForEachMethod(&cleared, [](pb::MethodDescriptorProto* method) {
    method->mutable_options()->ClearExtension(options::requires_local_context);
  });
  const std::string wrong =
      SameResponse(set, response, "requires_local_context = true everywhere");
  return wrong.empty()
             ? SameResponse(cleared, response, "requires_local_context nowhere")
             : wrong;
}

// Of every option of the schema, all of which are Boolean.
std::string ExplicitFalseEqualsAbsence(const Answer& answer) {
  const pb::FileDescriptor* schema =
      pb::DescriptorPool::generated_pool()->FindFileByName(kSchema);
  const auto changed = [&](auto change) {
    Request request = answer.request;
    ForEachMethod(&request, [&](pb::MethodDescriptorProto* method) {
      for (int i = 0; i < schema->extension_count(); ++i) {
        pb::MethodOptions* all = method->mutable_options();
        change(all->GetReflection(), all, schema->extension(i));
      }
    });
    return request;
  };
  const Request explicit_false =
      changed([](const pb::Reflection* reflection, pb::Message* all,
                 const pb::FieldDescriptor* option) {
        if (!reflection->HasField(*all, option)) {
          reflection->SetBool(all, option, false);
        }
      });
  const Request absent =
      changed([](const pb::Reflection* reflection, pb::Message* all,
                 const pb::FieldDescriptor* option) {
        if (!reflection->GetBool(*all, option)) {
          reflection->ClearField(all, option);
        }
      });
  const std::string wrong = SameResponse(explicit_false, answer.response,
                                         "an explicit false for each absence");
  return wrong.empty() ? SameResponse(absent, answer.response,
                                      "each explicit false left out")
                       : wrong;
}

std::string FilesAreCountedAndNamedRight(const Answer& answer) {
  const Request& request = answer.request;
  const Response& response = answer.response;
  if (response.has_error()) {
    return "";
  }
  std::vector<std::string> expected;
  for (const std::string& name : request.file_to_generate()) {
    expected.push_back(BaseName(name) + ".rpc.h");
    expected.push_back(BaseName(name) + ".rpc.cpp");
  }
  std::vector<std::string> actual;
  for (const auto& file : response.file()) {
    actual.push_back(file.name());
    if (file.has_insertion_point()) {
      return file.name() + " has an insertion point";
    }
  }
  return actual == expected ? "" : "the files are not two for each, in order";
}

// "" if `request` gives `error`, and just the files before it.
std::string StopsWith(const Request& request, const std::string& error,
                      const Response& whole, int files_before) {
  const Outcome refused = Run(request);
  Response expected = whole;
  expected.mutable_file()->DeleteSubrange(files_before,
                                          expected.file_size() - files_before);
  expected.set_error(error);
  return refused.accepted && Same(refused.response, expected)
             ? ""
             : "a refusal does not give just: " + error;
}

std::string ARefusedFileAddsNoFile(const Answer& answer) {
  const Request& request = answer.request;
  const Response& response = answer.response;
  if (response.has_error() || request.file_to_generate_size() == 0) {
    return "";
  }
  const int last = request.file_to_generate_size() - 1;
  const std::string& name = request.file_to_generate(last);
  const auto& names = request.file_to_generate();
  if (std::count(names.begin(), names.end(), name) > 1) {
    return "";  // An earlier one would be refused.
  }
  if (answer.files.back()->options().optimize_for() ==
      pb::FileOptions::LITE_RUNTIME) {
    return "";  // protobuf itself takes no generic services there.
  }
  Request generic = request;
  for (pb::FileDescriptorProto& file : *generic.mutable_proto_file()) {
    if (file.name() == name) {
      file.mutable_options()->set_cc_generic_services(true);
    }
  }
  const std::string wrong = StopsWith(
      generic, name + ": " + kGenericServicesError, response, 2 * last);
  if (!wrong.empty()) {
    return wrong;
  }
  Request unknown = request;
  unknown.set_parameter("x=1," + request.parameter());
  return StopsWith(unknown,
                   request.file_to_generate(0) + ": Unknown parameter: x=1",
                   response, 0);
}

// With every property that holds of the plain generator's answers, to this
// request and to all that are made of it, so it holds of the other's.
std::string TheAnySyntaxGeneratorWritesTheSameFiles(const Answer& answer) {
  const Request& request = answer.request;
  const Response& response = answer.response;
  Response any;
  std::string error;
  if (!testing::AnswerRequest(request, AnySyntaxGenerator(), &any, &error)) {
    return "the other generator is not run: " + error;
  }
  return any.error() == response.error() &&
                 Same(OnlyFiles(any), OnlyFiles(response))
             ? ""
             : "the other generator writes something else";
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

// Of a response with an error the files ahead of the refused one.
std::string TheIndependentWriterAgrees(const Answer& answer) {
  const std::string services_namespace =
      ServicesNamespace(answer.request.parameter());
  if (!services_namespace.empty() && services_namespace[0] == '\n' &&
      testing::PrinterIndentsAfterLineBreaks()) {
    return "";
  }
  for (int i = 0; i < answer.response.file_size(); ++i) {
    const pb::FileDescriptor* file =
        answer.files[static_cast<std::size_t>(i / 2)];
    const std::string& text = answer.response.file(i).content();
    const std::string expected =
        i % 2 == 0 ? independent::WriteHeader(file, services_namespace)
                   : independent::WriteSource(file, services_namespace);
    if (text != expected) {
      return answer.response.file(i).name() +
             " is not what the independent writer writes, from line " +
             FirstForeignLine(text, expected);
    }
  }
  return "";
}

// Which file is refused, and why, follows from the request alone.
std::string JustTheFilesAheadOfARefusedOneAreWritten(const Answer& answer) {
  std::string error;
  int expected_files = 0;
  for (const pb::FileDescriptor* file : answer.files) {
    error = file->options().cc_generic_services()
                ? kGenericServicesError
                : ParameterError(answer.request.parameter());
    if (!error.empty()) {
      error = std::string(file->name()) + ": " + error;
      break;
    }
    expected_files += 2;
  }
  if (answer.response.error() != error) {
    return "the error is \"" + answer.response.error() + "\" and not \"" +
           error + "\"";
  }
  return answer.response.file_size() == expected_files
             ? ""
             : "the number of files is not " + std::to_string(expected_files);
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

}  // namespace

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

Request WithStandardFiles(Request request) {
  if (!LacksStandardFiles(request)) {
    return request;
  }
  Request whole;
  for (const pb::FileDescriptor* file : StandardFiles()) {
    file->CopyTo(whole.add_proto_file());
  }
  whole.MergeFrom(request);
  return whole;
}

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
  testing::RunGenerator(answer.files, request.parameter(), CppGenerator(),
                        &answer.response);
  answer.request = std::move(request);
  return answer;
}

#define QARN_RPC_CHEAP(function) \
  { #function, function, false }
#define QARN_RPC_COSTLY(function) \
  { #function, function, true }

// The cheap ones first: they tell more plainly what is wrong.
const std::vector<Property>& Properties() {
  static const std::vector<Property> properties = {
      QARN_RPC_CHEAP(JustTheFilesAheadOfARefusedOneAreWritten),
      QARN_RPC_CHEAP(FilesAreCountedAndNamedRight),
      QARN_RPC_CHEAP(TheIndependentWriterAgrees),
      QARN_RPC_CHEAP(TheLinterFindsLinesInTheFilesToGenerate),
      QARN_RPC_COSTLY(TwoRunsGiveTheSameBytes),
      QARN_RPC_COSTLY(OneRequestEqualsARequestForEachFile),
      QARN_RPC_COSTLY(OrderOfTheFilesChangesNoText),
      QARN_RPC_COSTLY(RemovingAFileChangesNoOther),
      QARN_RPC_COSTLY(RequiresLocalContextChangesNothing),
      QARN_RPC_COSTLY(ExplicitFalseEqualsAbsence),
      QARN_RPC_COSTLY(ARefusedFileAddsNoFile),
      QARN_RPC_COSTLY(TheAnySyntaxGeneratorWritesTheSameFiles),
  };
  return properties;
}

#undef QARN_RPC_CHEAP
#undef QARN_RPC_COSTLY

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
