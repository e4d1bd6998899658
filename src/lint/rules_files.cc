// The rules about the plugin and its options, and about whole files.

#include <google/protobuf/descriptor.pb.h>

#include <map>

#include "lint/rule.h"
#include "morvane/qarn/rpc/service_options.pb.h"
#include "naming/file_names.h"
#include "naming/names.h"
#include "naming/streaming_kind.h"

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::FileOptions;
using google::protobuf::MethodDescriptor;
using google::protobuf::MethodOptions;
using google::protobuf::ServiceDescriptor;

namespace options = ::morvane::qarn::rpc;

namespace {

// A keyword without its option. The option without its keyword is common, and
// means what it says.
void StreamKeyword(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    const StreamingKind kind = GetStreamingKind(method);
    const bool server_streams = kind == StreamingKind::kServerStreaming ||
                                kind == StreamingKind::kBidiStreaming;
    std::string missing;
    if (method->client_streaming() && !ClientStreams(kind)) {
      missing = "option (morvane.qarn.rpc.client_streaming) = true;";
    }
    if (method->server_streaming() && !server_streams) {
      missing += missing.empty() ? "" : " ";
      missing += "option (morvane.qarn.rpc.server_streaming) = true;";
    }
    if (!missing.empty()) {
      report.At(method, "the keyword 'stream' does not make the method '" +
                            std::string(method->name()) +
                            "' a streaming one; set " + missing);
    }
  });
}

void GenericServices(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    if (file->options().cc_generic_services()) {
      report.At(PlaceOfOption(file, FileOptions::kCcGenericServicesFieldNumber),
                "protobuf's generic services and ours cannot be in one file, "
                "so nothing is generated; remove the option "
                "cc_generic_services, or set it to false");
    }
  }
}

void MessagesOfOneName(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    std::map<std::string, const Descriptor*> seen;
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      for (const Descriptor* message :
           {method->input_type(), method->output_type()}) {
        const std::string name = MessageClassName(message, false);
        const Descriptor* first = seen.emplace(name, message).first->second;
        if (first != message) {
          report.At(method, "the service '" + std::string(service->name()) +
                                "' uses two messages with the name '" + name +
                                "', " + std::string(first->full_name()) +
                                " and " + std::string(message->full_name()) +
                                "; rename one, or wrap one in a message of "
                                "its own");
        }
      }
    });
  });
}

void OptionWithoutEffect(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    const MethodOptions& all = method->options();
    if (all.GetExtension(options::requires_local_context)) {
      report.At(
          PlaceOfOption(method, options::kRequiresLocalContextFieldNumber),
          "the option requires_local_context changes nothing in the generated "
          "files; remove it, unless something else reads it");
    }
    if (all.deprecated()) {
      report.At(PlaceOfOption(method, MethodOptions::kDeprecatedFieldNumber),
                "the option deprecated of a method changes nothing in the "
                "generated files; remove it, unless it is for other "
                "languages");
    }
  });
}

// An option of the user's own with a number of ours, which is read as ours.
void OptionNumber(const Run& run, Report& report) {
  const auto check = [&](const FieldDescriptor* option) {
    const bool is_of_methods =
        std::string(option->containing_type()->full_name()) ==
        "google.protobuf.MethodOptions";
    const int number = option->number();
    if (is_of_methods &&
        (number == options::kClientStreamingFieldNumber ||
         number == options::kServerStreamingFieldNumber ||
         number == options::kRequiresLocalContextFieldNumber)) {
      report.At(option, "the option '" + std::string(option->name()) +
                            "' has a number of the streaming options, and is "
                            "read as one of them; give it another than 50001, "
                            "50002 and 50010");
    }
  };
  for (const FileDescriptor* file : run.files) {
    if (std::string(file->package()) == "morvane.qarn.rpc") {
      continue;
    }
    for (int i = 0; i < file->extension_count(); ++i) {
      check(file->extension(i));
    }
    ForEachMessage(file, [&](const Descriptor* message) {
      for (int i = 0; i < message->extension_count(); ++i) {
        check(message->extension(i));
      }
    });
  }
}

void FilesOfOneBaseName(const Run& run, Report& report) {
  std::map<std::string, const FileDescriptor*> seen;
  for (const FileDescriptor* file : run.files) {
    const std::string base = OutputBaseName(std::string(file->name()));
    const FileDescriptor* first = seen.emplace(base, file).first->second;
    if (first != file) {
      report.At(PlaceOfFile(file), "'" + std::string(first->name()) +
                                       "' of the same run gives '" + base +
                                       ".rpc.h' too; rename one of the files");
    }
  }
}

// Whether the directives that include the file's headers hold its name whole.
bool CanBeIncluded(const FileDescriptor* file) {
  return std::string(file->name()).find_first_of("\"\n\r") == std::string::npos;
}

// Includes a header that is included by an imported file's.
void Name(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    if (!CanBeIncluded(file)) {
      report.At(PlaceOfFile(file),
                "the name of the file has a quotation mark or a line break, "
                "with which its headers cannot be included; rename it");
    }
    for (int i = 0; i < file->dependency_count(); ++i) {
      for (const FileDescriptor* other : WithImports(file->dependency(i))) {
        if (!CanBeIncluded(other)) {
          report.At(PlaceOfImport(file, i),
                    "the name of the file '" + std::string(other->name()) +
                        "' has a quotation mark or a line break, with which "
                        "its header cannot be included; rename it");
        }
      }
    }
  }
}

void WeakImport(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    for (int i = 0; i < file->weak_dependency_count(); ++i) {
      // The place of an import is found by its index among all imports.
      for (int j = 0; j < file->dependency_count(); ++j) {
        if (file->dependency(j) == file->weak_dependency(i)) {
          report.At(PlaceOfImport(file, j),
                    "protoc makes no C++ message code of a file with 'import "
                    "weak'; write 'import'");
        }
      }
    }
  }
}

}  // namespace

std::vector<Rule> FileRules() {
  return {
      {"stream-keyword", Severity::kWarning, "The keyword `stream` alone",
       "stream_keyword", StreamKeyword},
      {"generic-services", Severity::kError,
       "`option cc_generic_services = true;`", "generic_services",
       GenericServices},
      {"messages-of-one-name", Severity::kError,
       "A service that uses two messages of one local name",
       "messages_of_one_local_name", MessagesOfOneName},
      {"option-without-effect", Severity::kWarning,
       "`(morvane.qarn.rpc.requires_local_context)`", "requires_local_context",
       OptionWithoutEffect},
      {"option-number", Severity::kWarning, "An option of your own",
       "own_option_of_our_number", OptionNumber},
      {"files-of-one-base-name", Severity::kError,
       "Two files of one run that differ only in their suffix",
       "files_of_one_base_name", FilesOfOneBaseName},
      {"file-name", Severity::kError, "A file whose name has a quotation mark",
       "", Name},
      {"weak-import", Severity::kError, "A file with `import weak`", "",
       WeakImport},
  };
}

}  // namespace rpc
}  // namespace qarn
