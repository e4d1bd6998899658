#include "lint/run.h"

#include <algorithm>
#include <set>

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

// Appends `file` and what it imports, without those that were `seen`.
void Append(const FileDescriptor* file, std::set<const FileDescriptor*>* seen,
            std::vector<const FileDescriptor*>* files) {
  if (!seen->insert(file).second) {
    return;
  }
  for (int i = 0; i < file->dependency_count(); ++i) {
    Append(file->dependency(i), seen, files);
  }
  files->push_back(file);
}

void VisitMessage(const Descriptor* message,
                  const std::function<void(const Descriptor*)>& visit) {
  visit(message);
  for (int i = 0; i < message->nested_type_count(); ++i) {
    VisitMessage(message->nested_type(i), visit);
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

std::vector<const FileDescriptor*> WithImports(const FileDescriptor* file) {
  std::vector<const FileDescriptor*> files;
  std::set<const FileDescriptor*> seen;
  Append(file, &seen, &files);
  return files;
}

void ForEachMessage(const FileDescriptor* file,
                    const std::function<void(const Descriptor*)>& visit) {
  for (int i = 0; i < file->message_type_count(); ++i) {
    VisitMessage(file->message_type(i), visit);
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
