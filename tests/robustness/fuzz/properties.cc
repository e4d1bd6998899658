#include "robustness/fuzz/properties.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <utility>

#include "morvane/qarn/rpc/service_options.pb.h"
#include "plugin/any_syntax_generator.h"
#include "plugin/generator.h"
#include "robustness/fuzz/text_checks.h"
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

constexpr char kGenericServicesError[] =
    "cpp rpc proto compiler plugin does not work with generic services. "
    "To generate cpp rpc APIs, please set \"cc_generic_service = false\".";

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

std::string TwoRunsGiveTheSameBytes(const Request& request,
                                    const Response& response) {
  return SameResponse(request, response, "the second run");
}

std::string OneRequestEqualsARequestForEachFile(const Request& request,
                                                const Response& response) {
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

std::string OrderOfTheFilesChangesNoText(const Request& request,
                                         const Response& response) {
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

std::string RemovingAFileChangesNoOther(const Request& request,
                                        const Response& response) {
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

std::string RequiresLocalContextChangesNothing(const Request& request,
                                               const Response& response) {
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

std::string ExplicitFalseEqualsAbsence(const Request& request,
                                       const Response& response) {
  Request explicit_false = request;
  Request absent = request;
  ForEachMethod(&explicit_false, [](pb::MethodDescriptorProto* method) {
    for (const auto* option :
         {&options::client_streaming, &options::server_streaming}) {
      if (!method->options().HasExtension(*option)) {
        method->mutable_options()->SetExtension(*option, false);
      }
    }
  });
  ForEachMethod(&absent, [](pb::MethodDescriptorProto* method) {
    for (const auto* option :
         {&options::client_streaming, &options::server_streaming}) {
      if (method->has_options() && !method->options().GetExtension(*option)) {
        method->mutable_options()->ClearExtension(*option);
      }
    }
  });
  const std::string wrong = SameResponse(explicit_false, response,
                                         "an explicit false for each absence");
  return wrong.empty()
             ? SameResponse(absent, response, "each explicit false left out")
             : wrong;
}

// Calls `check` with the text of each file, unless the names that others chose
// could spoil it.
std::string ForEachPlainText(const Request& request, const Response& response,
                             std::string (*check)(const std::string& text,
                                                  bool is_header)) {
  if (response.has_error() ||
      !IsPlainNamespace(ServicesNamespace(request.parameter()))) {
    return "";
  }
  for (int i = 0; i < response.file_size(); ++i) {
    const auto& file = response.file(i);
    if (!IsPlainPath(file.name())) {
      continue;
    }
    const std::string wrong = check(file.content(), i % 2 == 0);
    if (!wrong.empty()) {
      return file.name() + ": " + wrong;
    }
  }
  return "";
}

std::string NoTemplateSurvivesAndBracesBalance(const Request& request,
                                               const Response& response) {
  return ForEachPlainText(request, response, CheckTemplatesAndBraces);
}

std::string EveryNamespaceIsClosed(const Request& request,
                                   const Response& response) {
  return ForEachPlainText(request, response, CheckNamespaces);
}

// Gives each method a name that occurs nowhere else and counts it.
std::string MethodNamesOccurAsOftenAsTheirKindSays(const Request& request,
                                                   const Response&) {
  // Not in the request, where a fuzzer would put it sooner or later.
  std::string mark = "Mark";
  while (request.SerializeAsString().find(mark) != std::string::npos) {
    mark += "k";
  }
  Request marked = request;
  int number = 0;
  std::map<std::string, bool> client_streams;
  ForEachMethod(&marked, [&](pb::MethodDescriptorProto* method) {
    const std::string marker = mark + std::to_string(number++) + "_";
    method->set_name(marker);
    client_streams[marker] =
        method->options().GetExtension(options::client_streaming);
  });
  const Outcome outcome = Run(marked);
  if (!IsAnswered(outcome)) {
    return "";
  }
  std::map<std::string, const pb::FileDescriptorProto*> sent;
  for (const pb::FileDescriptorProto& file : marked.proto_file()) {
    sent[file.name()] = &file;
  }
  for (int i = 0; i < marked.file_to_generate_size(); ++i) {
    const std::string& header = outcome.response.file(2 * i).content();
    const std::string& source = outcome.response.file(2 * i + 1).content();
    for (const auto& service : sent[marked.file_to_generate(i)]->service()) {
      for (const auto& method : service.method()) {
        // Six in the traits; the names of three types and two calls, their
        // descriptor and the handler. Two batch calls with the type that they
        // return, the name and the descriptor where the client streams.
        const std::size_t in_header = client_streams[method.name()] ? 22 : 16;
        if (Count(header, method.name()) != in_header ||
            Count(source, method.name()) != 8) {
          return method.name() + " occurs " +
                 std::to_string(Count(header, method.name())) + " and " +
                 std::to_string(Count(source, method.name())) + " times";
        }
      }
    }
  }
  return "";
}

std::string FilesAreCountedAndNamedRight(const Request& request,
                                         const Response& response) {
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

std::string ARefusedFileAddsNoFile(const Request& request,
                                   const Response& response) {
  if (response.has_error() || request.file_to_generate_size() == 0) {
    return "";
  }
  const int last = request.file_to_generate_size() - 1;
  const std::string& name = request.file_to_generate(last);
  const auto& names = request.file_to_generate();
  if (std::count(names.begin(), names.end(), name) > 1) {
    return "";  // An earlier one would be refused.
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
std::string TheAnySyntaxGeneratorWritesTheSameFiles(const Request& request,
                                                    const Response& response) {
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

std::string TheIndependentWriterAgrees(const Request& request,
                                       const Response& response) {
  if (response.has_error()) {
    return "";
  }
  const std::string services_namespace = ServicesNamespace(request.parameter());
  if (!services_namespace.empty() && services_namespace[0] == '\n' &&
      testing::PrinterIndentsAfterLineBreaks()) {
    return "";
  }
  pb::DescriptorPool pool;
  for (const pb::FileDescriptorProto& file : request.proto_file()) {
    pool.BuildFile(file);
  }
  for (int i = 0; i < request.file_to_generate_size(); ++i) {
    const std::string& name = request.file_to_generate(i);
    const pb::FileDescriptor* file = pool.FindFileByName(name);
    if (response.file(2 * i).content() !=
        independent::WriteHeader(file, services_namespace)) {
      return "the headers of " + name + " differ";
    }
    if (response.file(2 * i + 1).content() !=
        independent::WriteSource(file, services_namespace)) {
      return "the sources of " + name + " differ";
    }
  }
  return "";
}

}  // namespace

Outcome Run(const Request& request) {
  Outcome outcome;
  std::string error;
  outcome.accepted = testing::AnswerRequest(request, CppGenerator(),
                                            &outcome.response, &error);
  return outcome;
}

#define QARN_RPC_PROPERTY(function) \
  { #function, function }

const std::vector<Property>& Properties() {
  static const std::vector<Property> properties = {
      QARN_RPC_PROPERTY(TwoRunsGiveTheSameBytes),
      QARN_RPC_PROPERTY(OneRequestEqualsARequestForEachFile),
      QARN_RPC_PROPERTY(OrderOfTheFilesChangesNoText),
      QARN_RPC_PROPERTY(RemovingAFileChangesNoOther),
      QARN_RPC_PROPERTY(RequiresLocalContextChangesNothing),
      QARN_RPC_PROPERTY(ExplicitFalseEqualsAbsence),
      QARN_RPC_PROPERTY(NoTemplateSurvivesAndBracesBalance),
      QARN_RPC_PROPERTY(EveryNamespaceIsClosed),
      QARN_RPC_PROPERTY(MethodNamesOccurAsOftenAsTheirKindSays),
      QARN_RPC_PROPERTY(FilesAreCountedAndNamedRight),
      QARN_RPC_PROPERTY(ARefusedFileAddsNoFile),
      QARN_RPC_PROPERTY(TheAnySyntaxGeneratorWritesTheSameFiles),
      QARN_RPC_PROPERTY(TheIndependentWriterAgrees),
  };
  return properties;
}

#undef QARN_RPC_PROPERTY

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
