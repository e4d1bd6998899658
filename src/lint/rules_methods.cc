// The rules about names of methods.

#include <cctype>

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

void LikeServiceMacro(const Run& run, Report& report) {
  ForEachMethod(run, [&](const MethodDescriptor* method) {
    const std::string name(method->name());
    if (MacroChanges(method->service(), name)) {
      report.At(method, Quoted(method) +
                            " is its service's name in capitals, and the "
                            "service's macro makes that name of it; rename it");
    }
  });
}

// An enumerator stands beside the service's class, and meets the names there.
// In the class, a message that the service uses hides it in any case.
void EnumeratorsClash(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    DeclaredNames taken;
    if (run.parameters.services_namespace.empty()) {
      taken = EnumValuesInPackage(file);
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
      {"method-like-service-macro", Severity::kError,
       "A method that is its service's name in capitals",
       "method_like_service_macro", LikeServiceMacro},
      {"enumerator-clash", Severity::kError, "An enumerator, which is",
       "enumerators_clash", EnumeratorsClash},
  };
}

}  // namespace rpc
}  // namespace qarn
