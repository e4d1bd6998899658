// The rules about names of messages.

#include <google/protobuf/descriptor.pb.h>

#include <map>
#include <set>

#include "lint/generated_names.h"
#include "lint/keywords.h"
#include "lint/rule.h"
#include "naming/names.h"
#include "naming/streaming_kind.h"

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

std::string Quoted(const Descriptor* message) {
  return "the message '" + std::string(message->full_name()) + "'";
}

// Calls `visit(method, message)` at the first use of each message by each
// service.
template <typename Visit>
void ForEachUse(const Run& run, const Visit& visit) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    std::set<const Descriptor*> seen;
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      for (const Descriptor* message :
           {method->input_type(), method->output_type()}) {
        if (seen.insert(message).second) {
          visit(method, message);
        }
      }
    });
  });
}

void LikeService(const Run& run, Report& report) {
  ForEachUse(
      run, [&](const MethodDescriptor* method, const Descriptor* message) {
        if (MessageClassName(message, false) ==
            std::string(method->service()->name())) {
          report.At(method, Quoted(message) +
                                " has the name of the service that uses it; "
                                "rename one");
        }
      });
}

void LikeMember(const Run& run, Report& report) {
  ForEachUse(run, [&](const MethodDescriptor* method,
                      const Descriptor* message) {
    std::set<std::string> members = MadeMembersOf(method->service()).server;
    members.insert({"Service", "service", "_service"});
    if (members.count(MessageClassName(message, false)) != 0) {
      report.At(method, Quoted(message) +
                            " has the name of a member of the class Service; "
                            "rename it, or nest it in another message");
    }
  });
}

// The service of `file` whose macro replaces `word`; null if there is none.
const ServiceDescriptor* ServiceWithMacro(const FileDescriptor* file,
                                          const std::string& word) {
  const ServiceDescriptor* found = nullptr;
  ForEachService(file, [&](const ServiceDescriptor* service) {
    if (MacroChanges(service, word)) {
      found = service;
    }
  });
  return found;
}

void LikeServiceMacro(const Run& run, Report& report) {
  ForEachUse(run, [&](const MethodDescriptor* method,
                      const Descriptor* message) {
    const std::string name = MessageClassName(message, false);
    const ServiceDescriptor* service = ServiceWithMacro(method->file(), name);
    if (service != nullptr) {
      report.At(method, Quoted(message) + " is the service '" +
                            std::string(service->name()) +
                            "' in capitals, and the service's macro replaces "
                            "its name; rename one");
    }
  });
}

// Of messages that no service of the macro's file uses.
void ReplacedLater(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    std::set<const Descriptor*> used;
    ForEachService(file, [&](const ServiceDescriptor* service) {
      for (const Descriptor* message : MessagesOf(service)) {
        used.insert(message);
      }
    });
    for (const FileDescriptor* other : run.with_imports) {
      ForEachMessage(other, [&](const Descriptor* message) {
        const std::string name = MessageClassName(message, false);
        const ServiceDescriptor* service = ServiceWithMacro(file, name);
        if (service != nullptr && used.count(message) == 0) {
          std::string text = "the macro '" + name + "' of the service '";
          text += std::string(service->name());
          text += "' replaces the name of " + Quoted(message);
          text += " in all that comes after its header; write '#undef " + name;
          text += "' behind that, or rename one";
          report.At(service, text);
        }
      });
    }
  }
}

// Each parameter of a handler is found by those behind it.
void Context(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    if (MessageClassName(method->input_type(), false) == "context" &&
        !ClientStreams(GetStreamingKind(method))) {
      report.At(method, Quoted(method->input_type()) +
                            " is the request of a handler whose first "
                            "parameter has its name; rename it");
    }
  });
}

void MapEntry(const Run& run, Report& report) {
  ForEachUse(
      run, [&](const MethodDescriptor* method, const Descriptor* message) {
        if (message->options().map_entry()) {
          report.At(method, Quoted(message) +
                                " is the entry of a map, whose class has "
                                "another name in C++; write a message with a "
                                "key and a value");
        }
      });
}

// Enum values that a service's macro replaces in what is behind its header.
void ValueReplacedLater(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    std::map<std::string, std::string> values;
    for (const FileDescriptor* other : WithImports(file)) {
      ForEachEnum(other, [&](const EnumDescriptor* enumeration) {
        for (int i = 0; i < enumeration->value_count(); ++i) {
          values.emplace(std::string(enumeration->value(i)->name()),
                         std::string(enumeration->value(i)->full_name()));
        }
      });
    }
    ForEachService(file, [&](const ServiceDescriptor* service) {
      for (const std::string& macro : MacrosOf(service)) {
        const auto found = values.find(macro);
        if (found != values.end() && macro != std::string(service->name())) {
          std::string text = "the macro '" + macro + "' of the service '";
          text += service->name();
          text += "' replaces the enum value " + found->second;
          text += " in all that comes after its header; write '#undef ";
          text += macro + "' behind that, or rename one";
          report.At(service, text);
        }
      }
    });
  }
}

void Keyword(const Run& run, Report& report) {
  ForEachUse(
      run, [&](const MethodDescriptor* method, const Descriptor* message) {
        if (ProtobufClassName(message) != MessageClassName(message, false)) {
          report.At(method, Quoted(message) +
                                " has the name of a C++ keyword, or NULL: its "
                                "class is '" +
                                ProtobufClassName(message) +
                                "', which the generated code does not know; "
                                "rename it");
        }
      });
}

// A message's class has a typedef for each message and enum that it encloses,
// of its own name; those of map entries are left out.
void LikeEnclosing(const Run& run, Report& report) {
  const auto check = [&](const Descriptor* outer, const auto* inner,
                         const std::string& name) {
    if (name == ProtobufClassName(outer)) {
      report.At(inner, "the class of " + Quoted(outer) +
                           " would have a member '" + name +
                           "', its own name, for what stands in it; rename "
                           "one");
    }
  };
  for (const FileDescriptor* file : run.files) {
    ForEachMessage(file, [&](const Descriptor* message) {
      for (int i = 0; i < message->nested_type_count(); ++i) {
        const Descriptor* nested = message->nested_type(i);
        if (!nested->options().map_entry()) {
          check(message, nested, std::string(nested->name()));
        }
      }
      for (int i = 0; i < message->enum_type_count(); ++i) {
        const EnumDescriptor* nested = message->enum_type(i);
        check(message, nested, std::string(nested->name()));
        for (int j = 0; j < nested->value_count(); ++j) {
          check(message, nested->value(j),
                std::string(nested->value(j)->name()));
        }
      }
    });
  }
}

// Names in the message code of a file, which protobuf 21 does not rename.
void KeywordOfCpp20(const Run& run, Report& report) {
  const auto check = [&](const auto* element, const std::string& name,
                         const char* kind) {
    if (IsKeyword(name, run.parameters.standard) && !IsKeyword(name, 17)) {
      report.At(element, std::string(kind) + " '" + name +
                             "' has the name of a keyword that is new in "
                             "C++20; rename it");
    }
  };
  for (const FileDescriptor* file : run.files) {
    ForEachMessage(file, [&](const Descriptor* message) {
      check(message, std::string(message->name()), "the message");
      for (int i = 0; i < message->field_count(); ++i) {
        check(message->field(i), std::string(message->field(i)->name()),
              "the field");
      }
    });
    ForEachEnum(file, [&](const EnumDescriptor* enumeration) {
      check(enumeration, std::string(enumeration->name()), "the enum");
      for (int i = 0; i < enumeration->value_count(); ++i) {
        check(enumeration->value(i), std::string(enumeration->value(i)->name()),
              "the enum value");
      }
    });
  }
}

}  // namespace

std::vector<Rule> MessageRules() {
  return {
      {"message-like-service", Severity::kError,
       "A service that uses a message of another package",
       "message_like_service", LikeService},
      {"message-like-member", Severity::kError,
       "A service that uses a message named `Service`", "message_like_member",
       LikeMember},
      {"message-like-service-macro", Severity::kError,
       "A message that is the service's name in capitals", "message_captured",
       LikeServiceMacro},
      {"message-context", Severity::kError, "A message `context`",
       "message_context", Context},
      {"message-map-entry", Severity::kError,
       "A method that uses the entry of a map", "map_entry", MapEntry},
      {"name-replaced-later", Severity::kWarning, "An enum value `ECHO`",
       "enum_value_captured", ValueReplacedLater},
      {"message-replaced-later", Severity::kWarning, "A message `ECHO`",
       "later_message_captured", ReplacedLater},
      {"message-keyword", Severity::kError,
       "A message named like a C++ keyword", "message_keyword", Keyword},
      {"message-like-enclosing", Severity::kError,
       "A message, an enum or an enum value in a message of the same name",
       "message_like_enclosing", LikeEnclosing},
      {"keyword-of-cpp20", Severity::kError,
       "A message, a field, an enum or an enum value named like a keyword that "
       "is new",
       "message_keyword_of_cpp20", KeywordOfCpp20},
  };
}

}  // namespace rpc
}  // namespace qarn
