// The rules about names of methods.

#include <algorithm>
#include <cctype>
#include <set>

#include "lint/generated_names.h"
#include "lint/keywords.h"
#include "lint/macros.h"
#include "lint/rule.h"
#include "naming/names.h"
#include "naming/streaming_kind.h"

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

std::string Quoted(const MethodDescriptor* method) {
  return "the method '" + std::string(method->name()) + "'";
}

// "delete" -> "Delete".
std::string Capitalized(std::string name) {
  name[0] =
      static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
  return name;
}

void LikeService(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    if (std::string(method->name()) == std::string(method->service()->name())) {
      report.At(method, Quoted(method) +
                            " has its service's name, so its class has two "
                            "members of one name; rename one");
    }
  });
}

void LikeMember(const Run& run, Report& report) {
  static const std::set<std::string> members = {"Stub", "Service", "channel",
                                                "context", "_service"};
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    if (members.count(std::string(method->name())) != 0) {
      report.At(method, Quoted(method) +
                            " has the name of a member that each generated "
                            "class has or calls; rename it");
    }
  });
}

void HidesAccessor(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    if (std::string(method->name()) == "service") {
      report.At(method,
                Quoted(method) +
                    " hides the accessor service() of the class that has the "
                    "handlers; rename it, or call the accessor as " +
                    std::string(method->service()->name()) +
                    "::Service::service()");
    }
  });
}

void LikeMessage(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    for (const Descriptor* message : MessagesOf(method->service())) {
      if (std::string(method->name()) == MessageClassName(message, false)) {
        report.At(method, Quoted(method) +
                              " has the name of a message that its service "
                              "uses; rename one, such as the message to '" +
                              std::string(method->name()) + "Request'");
      }
    }
  });
}

void LikeMadeMember(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    const MadeMembers made = MadeMembersOf(service);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      const std::string name(method->name());
      if (made.stub.count(name) + made.server.count(name) != 0) {
        report.At(method, Quoted(method) +
                              " has the name of a member that is made for "
                              "another method, or for a message; rename it");
      }
    });
  });
}

void LikeCallPointer(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    const MadeMembers made = MadeMembersOf(service);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      if (made.service.count(std::string(method->name())) != 0) {
        report.At(method, Quoted(method) +
                              " has the name of the pointer that calls of "
                              "another method return; rename it");
      }
    });
  });
}

void NamedContainer(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    if (std::string(method->name()) == "Container" &&
        ClientStreams(GetStreamingKind(method))) {
      report.At(method, Quoted(method) +
                            " has the name of the template parameter of its "
                            "batch calls; rename it");
    }
  });
}

void Keyword(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    if (IsKeyword(std::string(method->name()), run.parameters.standard)) {
      report.At(method, Quoted(method) +
                            " has the name of a C++ keyword, and cannot be "
                            "declared; rename it, such as to '" +
                            Capitalized(std::string(method->name())) + "'");
    }
  });
}

void IsMacro(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    if (IncludedMacro(std::string(method->name())) != MacroKind::kNone) {
      report.At(method, Quoted(method) +
                            " has the name of a macro of the C++ headers, "
                            "which replaces it; rename it");
    }
  });
}

// Macros of headers that the code of a user may include.
void IsSystemMacro(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    const std::string name(method->name());
    const std::string header = HeaderOfSystemMacro(name);
    // The service's own macro has a rule.
    if (!header.empty() && !MacroChanges(method->service(), name)) {
      report.At(method, Quoted(method) + " has the name of a macro of " +
                            header +
                            ", which replaces it in code that includes that; "
                            "rename it");
    }
  });
}

void LikeServiceMacro(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    const std::string name(method->name());
    const std::vector<std::string> macros = MacrosOf(method->service());
    if (MacroChanges(method->service(), name)) {
      report.At(method, Quoted(method) +
                            " is its service's name in capitals, and the "
                            "service's macro makes that name of it; rename it");
    } else if (std::find(macros.begin() + 1, macros.end(), name) !=
               macros.end()) {
      report.At(method, Quoted(method) +
                            " has the name of a macro of its service, which "
                            "replaces it; rename it");
    }
  });
}

// By the macro of a service that stands ahead in the file.
void Replaced(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    const FileDescriptor* file = method->file();
    for (int i = 0; i < method->service()->index(); ++i) {
      if (MacroChanges(file->service(i), std::string(method->name()))) {
        report.At(method, Quoted(method) + " is the service '" +
                              std::string(file->service(i)->name()) +
                              "' in capitals, and that service's macro makes "
                              "this name of it; rename it");
      }
    }
  });
}

// An enumerator stands beside the service's class, and meets the names there.
// In the class, a message that the service uses hides it in any case.
void EnumeratorsClash(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    DeclaredNames taken;
    if (run.parameters.services_namespace.empty()) {
      taken = ValuesInPackage(file);
      // A message that nobody uses is hidden by the enumerator, which is
      // allowed.
      ForEachService(file, [&](const ServiceDescriptor* service) {
        for (const Descriptor* message : MessagesOf(service)) {
          if (std::string(message->file()->package()) ==
              std::string(file->package())) {
            taken.emplace(MessageClassName(message, false),
                          "the message " + std::string(message->full_name()));
          }
        }
      });
    }
    ForEachService(file, [&](const ServiceDescriptor* service) {
      DeclaredNames used;
      for (const Descriptor* message : MessagesOf(service)) {
        used.emplace(MessageClassName(message, false),
                     "the message " + std::string(message->full_name()));
      }
      ForEachMethod(service, [&](const MethodDescriptor* method) {
        const std::string name = EnumeratorOf(method);
        const auto added = taken.emplace(
            name, "the enumerator of " + std::string(method->full_name()));
        const auto hiding = used.find(name);
        if (!added.second || hiding != used.end()) {
          report.At(method,
                    "the enumerator '" + name + "' that is made for " +
                        Quoted(method) + " has the name of " +
                        (added.second ? hiding->second : added.first->second) +
                        "; rename one");
        }
      });
    });
  }
}

// Both classes of a service have its methods, and Service a typedef for each
// message. One that hides an enumerator clashes with it, which has a rule.
void EnumeratorHidden(const Run& run, Report& report) {
  const bool has_namespace = !run.parameters.services_namespace.empty();
  ForEachService(run, [&](const ServiceDescriptor* service) {
    const auto text = [](const std::string& what, const std::string& name) {
      return what + " hides the '" + name +
             "' that the generated code means; rename it";
    };
    // Behind a services namespace the compiler looks nowhere else.
    const std::string traits =
        has_namespace ? "" : std::string(service->name()) + "Methods";
    std::set<std::string> hidden = {traits};
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      hidden.insert(EnumeratorOf(method));
    });
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      const std::string name(method->name());
      if (hidden.count(name) != 0) {
        report.At(method, text(Quoted(method), name));
      }
    });
    for (const Descriptor* message : MessagesOf(service)) {
      // One of the package itself meets the traits where they are declared.
      if (MessageClassName(message, false) == traits &&
          std::string(message->file()->package()) !=
              std::string(service->file()->package())) {
        report.At(service, text("the message '" +
                                    std::string(message->full_name()) + "'",
                                traits));
      }
    }
  });
}

// As many elements as a sequence of Boost may have.
constexpr int kLongestSequence = 256;

void AboveLongestSequence(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    if (service->method_count() > kLongestSequence) {
      report.At(service, "the service '" + std::string(service->name()) +
                             "' has more than 256 methods, so Boost's macros "
                             "do not take its sequences; make two of it");
    }
  });
}

}  // namespace

std::vector<Rule> MethodRules() {
  return {
      {"method-like-service", Severity::kError,
       "A method with its service's name", "method_like_service", LikeService},
      {"method-like-member", Severity::kError, "A method named `Stub`",
       "method_like_member", LikeMember},
      {"method-hides-accessor", Severity::kWarning, "A method named `service`",
       "method_named_service", HidesAccessor},
      {"method-like-message", Severity::kError,
       "A method with the name of a message", "method_like_message",
       LikeMessage},
      {"method-like-made-member", Severity::kError,
       "A method named like a member made", "method_like_typedef",
       LikeMadeMember},
      {"method-like-call-pointer", Severity::kError,
       "A method `PingClientCallPtr`", "method_like_call_pointer",
       LikeCallPointer},
      {"method-container", Severity::kError,
       "A client-streaming or bidirectional method named `Container`",
       "method_named_container", NamedContainer},
      {"method-keyword", Severity::kError, "A method named like a C++ keyword",
       "keyword keyword_of_cpp20", Keyword},
      {"method-macro", Severity::kError, "A method named like a macro",
       "method_like_macro", IsMacro},
      {"method-system-macro", Severity::kWarning,
       "A method `major`, `minor` or `makedev`", "method_like_system_macro",
       IsSystemMacro},
      {"method-like-service-macro", Severity::kError,
       "A method that is its service's name in capitals",
       "method_like_own_macros method_like_service_macro", LikeServiceMacro},
      {"method-replaced", Severity::kWarning, "A method `LOG` behind",
       "method_captured", Replaced},
      {"enumerator-clash", Severity::kError, "An enumerator, which is",
       "enumerators_clash", EnumeratorsClash},
      {"enumerator-hidden", Severity::kError,
       "A method with the name of an enumerator", "enumerator_hidden",
       EnumeratorHidden},
      {"methods-above-256", Severity::kWarning,
       "A service with more than 256 methods", "methods_above_256",
       AboveLongestSequence},
  };
}

}  // namespace rpc
}  // namespace qarn
