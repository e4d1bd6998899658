#include "lint/run.h"

#include <algorithm>
#include <set>
#include <utility>

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

// Appends `file` and what it imports, without those that were `seen`. With a
// stack of its own, as chains of imports may be long.
void Append(const FileDescriptor* file, std::set<const FileDescriptor*>* seen,
            std::vector<const FileDescriptor*>* files) {
  // A file, and how many of its imports have been looked at.
  std::vector<std::pair<const FileDescriptor*, int>> stack;
  if (seen->insert(file).second) {
    stack.emplace_back(file, 0);
  }
  while (!stack.empty()) {
    const FileDescriptor* top = stack.back().first;
    if (stack.back().second == top->dependency_count()) {
      files->push_back(top);
      stack.pop_back();
      continue;
    }
    const FileDescriptor* import = top->dependency(stack.back().second++);
    if (seen->insert(import).second) {
      stack.emplace_back(import, 0);
    }
  }
}

}  // namespace

Run MakeRun(const std::vector<const FileDescriptor*>& files,
            const LintParameters& parameters) {
  Run run;
  run.parameters = parameters;
  std::set<const FileDescriptor*> seen;
  for (const FileDescriptor* file : files) {
    Append(file, &seen, &run.with_imports);
  }
  // A request may name a file twice.
  for (const FileDescriptor* file : files) {
    if (std::find(run.files.begin(), run.files.end(), file) ==
        run.files.end()) {
      run.files.push_back(file);
    }
  }
  return run;
}

std::vector<std::string> NamespaceParts(const Run& run) {
  std::vector<std::string> parts;
  const std::string& text = run.parameters.services_namespace;
  if (text.empty()) {
    return parts;
  }
  const char* blanks = " \t\n\v\f\r";
  std::size_t begin = 0;
  while (begin <= text.size()) {
    const std::size_t end = std::min(text.find("::", begin), text.size());
    const std::string part = text.substr(begin, end - begin);
    const std::size_t first = part.find_first_not_of(blanks);
    parts.push_back(
        first == std::string::npos
            ? ""
            : part.substr(first, part.find_last_not_of(blanks) - first + 1));
    begin = end + 2;
  }
  return parts;
}

std::vector<const FileDescriptor*> WithImports(const FileDescriptor* file) {
  std::vector<const FileDescriptor*> files;
  std::set<const FileDescriptor*> seen;
  Append(file, &seen, &files);
  return files;
}

void ForEachMessage(const FileDescriptor* file,
                    const std::function<void(const Descriptor*)>& visit) {
  // The next one at the end.
  std::vector<const Descriptor*> waiting;
  for (int i = file->message_type_count(); i > 0; --i) {
    waiting.push_back(file->message_type(i - 1));
  }
  while (!waiting.empty()) {
    const Descriptor* message = waiting.back();
    waiting.pop_back();
    visit(message);
    for (int i = message->nested_type_count(); i > 0; --i) {
      waiting.push_back(message->nested_type(i - 1));
    }
  }
}

void ForEachEnum(const FileDescriptor* file,
                 const std::function<void(const EnumDescriptor*)>& visit) {
  for (int i = 0; i < file->enum_type_count(); ++i) {
    visit(file->enum_type(i));
  }
  ForEachMessage(file, [&](const Descriptor* message) {
    for (int i = 0; i < message->enum_type_count(); ++i) {
      visit(message->enum_type(i));
    }
  });
}

std::vector<const Descriptor*> MessagesOf(const ServiceDescriptor* service) {
  std::vector<const Descriptor*> messages;
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    for (const Descriptor* message :
         {method->input_type(), method->output_type()}) {
      if (std::find(messages.begin(), messages.end(), message) ==
          messages.end()) {
        messages.push_back(message);
      }
    }
  });
  return messages;
}

}  // namespace rpc
}  // namespace qarn
