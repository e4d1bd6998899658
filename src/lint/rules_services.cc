// The rules about names of services.

#include <algorithm>
#include <map>
#include <set>

#include "lint/generated_names.h"
#include "lint/keywords.h"
#include "lint/macros.h"
#include "lint/rule.h"
#include "naming/names.h"
#include "naming/streaming_kind.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

std::string NameOf(const ServiceDescriptor* service) {
  return std::string(service->name());
}

std::string Quoted(const ServiceDescriptor* service) {
  return "the service '" + NameOf(service) + "'";
}

std::string MacroOf(const ServiceDescriptor* service) {
  return MacroPrefix(NameOf(service));
}

// Calls `visit(service, other)` for each pair of services of one file, in both
// orders.
template <typename Visit>
void ForEachPair(const Run& run, const Visit& visit) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    ForEachService(service->file(), [&](const ServiceDescriptor* other) {
      if (other != service) {
        visit(service, other);
      }
    });
  });
}

void LikeClass(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    if (NameOf(service) == "Stub" || NameOf(service) == "Service") {
      report.At(service, Quoted(service) +
                             " has the name of a class in its own class; "
                             "rename it");
    }
  });
}

void LikeAccessor(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    const std::string name = NameOf(service);
    if (name == "package" || name == "name" || name == "full_name") {
      report.At(service, Quoted(service) +
                             " has the name of a function of its own class; "
                             "rename it");
    }
  });
}

// Members that the classes Stub and Service have, or inherit from the runtime,
// and names of their bases: inside those classes they hide the service's class.
void LikeMember(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    const MadeMembers made = MadeMembersOf(service);
    std::set<std::string> members = {"channel", "context", "ServiceBase"};
    if (service->method_count() > 0) {
      members.insert({"service", "_service", "StubBase"});
    }
    members.insert(made.service.begin(), made.service.end());
    members.insert(made.stub.begin(), made.stub.end());
    members.insert(made.server.begin(), made.server.end());
    // Nobody looks for this one, so a method may have its name.
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      members.insert(std::string(method->name()) + "ServerCallPtr");
    });
    if (members.count(NameOf(service)) != 0) {
      report.At(service, Quoted(service) +
                             " has the name of a member of the classes in its "
                             "own, or of a base of theirs; rename it");
    }
  });
}

void LikeNestedType(const Run& run, Report& report) {
  if (!run.parameters.services_namespace.empty()) {
    return;
  }
  for (const FileDescriptor* file : run.files) {
    const DeclaredNames types = TypesInPackage(file);
    ForEachService(file, [&](const ServiceDescriptor* service) {
      const auto found = types.find(NameOf(service));
      if (found != types.end()) {
        report.At(service, Quoted(service) + " has the C++ name of " +
                               found->second + "; rename one");
      }
    });
  }
}

void Keyword(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    if (IsKeyword(NameOf(service), run.parameters.standard)) {
      report.At(service, Quoted(service) +
                             " has the name of a C++ keyword, and cannot be a "
                             "class; rename it");
    }
  });
}

// Reported at the later one.
void DifferInCase(const Run& run, Report& report) {
  ForEachPair(run, [&](const ServiceDescriptor* service,
                       const ServiceDescriptor* other) {
    if (other->index() < service->index() &&
        MacroOf(other) == MacroOf(service)) {
      report.At(service, Quoted(service) + " and the service '" +
                             NameOf(other) +
                             "' differ only in case, and both define the "
                             "macro '" +
                             MacroOf(service) + "'; rename one");
    }
  });
}

// The enumerators that the macro ECHO_METHODS lists.
std::vector<std::string> EnumeratorsOf(const ServiceDescriptor* service) {
  std::vector<std::string> enumerators;
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    enumerators.push_back(EnumeratorOf(method));
  });
  return enumerators;
}

// Of services in different files, whose headers may be included together.
void ShareMacros(const Run& run, Report& report) {
  std::map<std::string, const ServiceDescriptor*> seen;
  for (const FileDescriptor* file : run.with_imports) {
    const bool is_reported =
        std::find(run.files.begin(), run.files.end(), file) != run.files.end();
    ForEachService(file, [&](const ServiceDescriptor* service) {
      const ServiceDescriptor* first =
          seen.emplace(MacroOf(service), service).first->second;
      if (is_reported && first->file() != file &&
          (NameOf(first) != NameOf(service) ||
           EnumeratorsOf(first) != EnumeratorsOf(service))) {
        report.At(service, Quoted(service) + " and " +
                               std::string(first->full_name()) +
                               " define the same macros in different ways, so "
                               "a source file that includes both has those of "
                               "the later one, with a warning; "
                               "rename one, or include them in different "
                               "source files");
      }
    });
  }
}

void LikeMethodMacro(const Run& run, Report& report) {
  ForEachPair(run, [&](const ServiceDescriptor* service,
                       const ServiceDescriptor* other) {
    const std::vector<std::string> macros = MacrosOf(other);
    if (std::find(macros.begin() + 1, macros.end(), MacroOf(service)) !=
        macros.end()) {
      report.At(service, "the macro '" + MacroOf(service) + "' of " +
                             Quoted(service) + " is one of the service '" +
                             NameOf(other) + "' too; rename one");
    }
  });
}

// The enumeration and the traits of a service stand beside its class.
void LikeEnumeration(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    DeclaredNames declared;
    if (run.parameters.services_namespace.empty()) {
      declared = TypesInPackage(file);
      const DeclaredNames values = ValuesInPackage(file);
      declared.insert(values.begin(), values.end());
    }
    ForEachService(file, [&](const ServiceDescriptor* service) {
      declared.emplace(NameOf(service),
                       "the service " + std::string(service->full_name()));
    });
    ForEachService(file, [&](const ServiceDescriptor* service) {
      for (const char* suffix : {"Method", "Methods"}) {
        const auto found = declared.find(NameOf(service) + suffix);
        if (found != declared.end()) {
          report.At(service, "the type '" + found->first +
                                 "' that is made for " + Quoted(service) +
                                 " has the name of " + found->second +
                                 "; rename one");
        }
      }
    });
  }
}

// Whether what is generated for the service behind its macros holds `word`.
bool IsWordOfTheText(const ServiceDescriptor* service,
                     const std::string& word) {
  bool is_used = word == "CS_CLIENT" && service->method_count() > 0;
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    is_used = is_used || word == RpcMethodTypeName(GetStreamingKind(method));
  });
  return is_used;
}

void MacroTaken(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    const std::string macro = MacroOf(service);
    if (macro != NameOf(service) && IsWordOfTheText(service, macro)) {
      report.At(service, "the macro '" + macro + "' of " + Quoted(service) +
                             " replaces a word of the generated code; rename "
                             "the service");
    }
    if (IncludedMacro(macro) != MacroKind::kNone) {
      report.At(service, "the macro '" + macro + "' of " + Quoted(service) +
                             " is one of the C++ headers already; rename the "
                             "service");
    }
  });
}

void SystemMacro(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    const std::string macro = MacroOf(service);
    const std::string header = HeaderOfSystemMacro(macro);
    if (!header.empty()) {
      report.At(service, "the macro '" + macro + "' of " + Quoted(service) +
                             " is one of " + header +
                             " too; do not include that and the service's "
                             "header in one source file, or rename the "
                             "service");
    }
  });
}

void MacroSwitches(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    const std::string macro = MacroOf(service);
    if (macro == "DEBUG" || macro == "NDEBUG") {
      report.At(service, "the macro '" + macro + "' of " + Quoted(service) +
                             " changes other code that asks for it; rename "
                             "the service");
    }
  });
}

}  // namespace

std::vector<Rule> ServiceRules() {
  return {
      {"service-like-class", Severity::kError, "A service named `Stub`",
       "service_like_class", LikeClass},
      {"service-like-accessor", Severity::kError, "A service named `package`",
       "service_like_accessor", LikeAccessor},
      {"service-like-member", Severity::kError,
       "A service named like a member of its `Stub`",
       "service_like_base_member", LikeMember},
      {"service-keyword", Severity::kError,
       "A service named like a C++ keyword", "keyword", Keyword},
      {"service-like-nested-type", Severity::kError,
       "A service with the C++ name of a nested message",
       "service_like_nested_message", LikeNestedType},
      {"services-differ-in-case", Severity::kWarning,
       "Two services whose names differ only in case",
       "services_differ_in_case", DifferInCase},
      {"services-share-macros", Severity::kWarning, "Two services of one name",
       "services_of_one_name", ShareMacros},
      {"service-like-method-macro", Severity::kError, "A service `Echo_Method`",
       "service_like_method_macro", LikeMethodMacro},
      {"service-like-enumeration", Severity::kError,
       "A service, a message, an enum or an enum value `EchoMethod`",
       "enum_and_enumeration service_and_enumeration", LikeEnumeration},
      {"service-macro-taken", Severity::kError,
       "A service whose macro is a macro of a header",
       "service_macro_of_the_text service_redefines_macro", MacroTaken},
      {"system-macro", Severity::kWarning, "The same, when the system header",
       "service_macro_and_system_macro service_macro_lost", SystemMacro},
      {"service-macro-switches", Severity::kWarning,
       "A service named `Debug` or `Ndebug`", "service_macro_switches",
       MacroSwitches},
  };
}

}  // namespace rpc
}  // namespace qarn
