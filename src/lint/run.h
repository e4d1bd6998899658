// What a rule may look at: the files of one run of protoc and its parameters.

#ifndef QARN_RPC_LINT_RUN_H_
#define QARN_RPC_LINT_RUN_H_

#include <google/protobuf/descriptor.h>

#include <functional>
#include <string>
#include <vector>

#include "lint/lint_parameters.h"
#include "naming/for_each.h"

namespace qarn {
namespace rpc {

struct Run {
  // The files to generate, in the order of the run. A finding stands in one of
  // them.
  std::vector<const google::protobuf::FileDescriptor*> files;
  // These and all that they import, each once, imports ahead of importers.
  std::vector<const google::protobuf::FileDescriptor*> with_imports;
  LintParameters parameters;
};

// The run for `files`, with their imports.
Run MakeRun(const std::vector<const google::protobuf::FileDescriptor*>& files,
            const LintParameters& parameters);

// The names between the "::" of the services namespace, blanks around them left
// out; none if it is empty: "a:: b" -> "a", "b".
std::vector<std::string> NamespaceParts(const Run& run);

// `file` and all that it imports, each once, imports ahead of importers: what
// the message header of `file` includes.
std::vector<const google::protobuf::FileDescriptor*> WithImports(
    const google::protobuf::FileDescriptor* file);

// Calls `visit(service)` for each service of the files to generate.
template <typename Visit>
void ForEachService(const Run& run, const Visit& visit) {
  for (const google::protobuf::FileDescriptor* file : run.files) {
    ForEachService(file, visit);
  }
}

// Calls `visit(method)` for each method of the files to generate.
template <typename Visit>
void ForEachMethod(const Run& run, const Visit& visit) {
  ForEachService(run, [&](const google::protobuf::ServiceDescriptor* service) {
    ForEachMethod(service, visit);
  });
}

// Calls `visit(message)` for each message of `file`, nested ones behind those
// that enclose them.
void ForEachMessage(
    const google::protobuf::FileDescriptor* file,
    const std::function<void(const google::protobuf::Descriptor*)>& visit);

// Calls `visit(enumeration)` for each enum of `file`.
void ForEachEnum(
    const google::protobuf::FileDescriptor* file,
    const std::function<void(const google::protobuf::EnumDescriptor*)>& visit);

// The messages that the methods of `service` use, each once, in the order of
// their first use.
std::vector<const google::protobuf::Descriptor*> MessagesOf(
    const google::protobuf::ServiceDescriptor* service);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_RUN_H_
