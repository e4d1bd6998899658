// The rules about names that are taken already, whatever they are the name of.

#include "lint/global_names.h"
#include "lint/macros.h"
#include "lint/rule.h"
#include "naming/file_names.h"

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

Place PlaceOfNamespace(const Run& run) {
  return PlaceOfParameter(run.parameters.services_namespace_item);
}

bool IsTopLevel(const Descriptor* message) {
  return message->containing_type() == nullptr;
}

bool IsTopLevel(const EnumDescriptor* enumeration) {
  return enumeration->containing_type() == nullptr;
}

// Calls `visit(type, name, what)` for each message and enum of `file` that no
// message encloses.
template <typename Visit>
void ForEachTopLevelType(const FileDescriptor* file, const Visit& visit) {
  ForEachMessage(file, [&](const Descriptor* message) {
    if (IsTopLevel(message)) {
      visit(message, std::string(message->name()), "message");
    }
  });
  ForEachEnum(file, [&](const EnumDescriptor* enumeration) {
    if (IsTopLevel(enumeration)) {
      visit(enumeration, std::string(enumeration->name()), "enum");
    }
  });
}

// The namespaces that each generated header has at global scope.
bool IsNamespaceOfHeaders(const std::string& name) {
  return name == "boost" || name == "std" || name == "qarn" ||
         name == "qarn_rpc";
}

void Global(const Run& run, Report& report) {
  const auto report_at = [&](const auto& place, const std::string& what,
                             const std::string& name) {
    report.At(place, "the " + what + " '" + name +
                         "' would stand at global scope, where the system's "
                         "headers have that name; choose another, or put it "
                         "into a package");
  };
  bool reports_namespace = false;
  for (const FileDescriptor* file : run.files) {
    const std::vector<std::string> parts = PackageParts(file);
    if (!parts.empty()) {
      if (GlobalName(parts[0]) != GlobalKind::kNone) {
        report_at(PlaceOfPackage(file), "component of the package", parts[0]);
      }
      continue;
    }
    ForEachTopLevelType(file, [&](const auto* type, const std::string& name,
                                  const char* what) {
      if (GlobalName(name) != GlobalKind::kNone || IsNamespaceOfHeaders(name)) {
        report_at(type, what, name);
      }
    });
    ForEachEnum(file, [&](const EnumDescriptor* enumeration) {
      for (int i = 0; IsTopLevel(enumeration) && i < enumeration->value_count();
           ++i) {
        const std::string name(enumeration->value(i)->name());
        if (GlobalName(name) != GlobalKind::kNone ||
            IsNamespaceOfHeaders(name)) {
          report_at(enumeration->value(i), "enum value", name);
        }
      }
    });
    const std::vector<std::string> inner = NamespaceParts(run);
    ForEachService(file, [&](const ServiceDescriptor* service) {
      const std::string name(service->name());
      if (inner.empty() && (GlobalName(name) == GlobalKind::kType ||
                            IsNamespaceOfHeaders(name))) {
        report_at(service, "service", name);
      }
    });
    reports_namespace =
        reports_namespace ||
        (!inner.empty() &&
         (GlobalName(inner[0]) != GlobalKind::kNone || inner[0] == "qarn_rpc"));
  }
  if (reports_namespace) {
    report_at(PlaceOfNamespace(run), "services namespace",
              NamespaceParts(run)[0]);
  }
}

void OfRuntime(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    if (std::string(file->package()) == "qarn.rpc") {
      report.At(PlaceOfPackage(file),
                "the package is the runtime's namespace, and its names meet "
                "those of the runtime; choose another package");
    }
  }
}

void Macro(const Run& run, Report& report) {
  const auto text = [](const std::string& what, const std::string& name) {
    return "the " + what + " '" + name +
           "' has the name of a macro of the C++ headers, which replaces it; "
           "rename it";
  };
  const auto is_object = [](const std::string& name) {
    return IncludedMacro(name) == MacroKind::kObject;
  };
  for (const std::string& part : NamespaceParts(run)) {
    if (!part.empty() && is_object(part)) {
      report.At(PlaceOfNamespace(run), text("services namespace", part));
    }
  }
  for (const FileDescriptor* file : run.files) {
    for (const std::string& part : PackageParts(file)) {
      if (is_object(part)) {
        report.At(PlaceOfPackage(file), text("component of the package", part));
      }
    }
    ForEachService(file, [&](const ServiceDescriptor* service) {
      // The macro of a service `EOF` is that macro, which has a rule.
      if (is_object(std::string(service->name()))) {
        report.At(service, text("service", std::string(service->name())));
      }
    });
    // protobuf gives NULL another name. A class has functions of its name, and
    // that of a nested message another one.
    ForEachMessage(file, [&](const Descriptor* message) {
      const std::string name(message->name());
      const bool is_function =
          IncludedMacro(name) == MacroKind::kFunction && IsTopLevel(message);
      if ((is_object(name) || is_function) && name != "NULL") {
        report.At(message, text("message", name));
      }
      for (int i = 0; i < message->field_count(); ++i) {
        // Its functions have the name in lower case, which no NULL is.
        const std::string field(message->field(i)->lowercase_name());
        if (IncludedMacro(field) != MacroKind::kNone) {
          report.At(message->field(i), text("field", field));
        }
      }
    });
    ForEachEnum(file, [&](const EnumDescriptor* enumeration) {
      if (is_object(std::string(enumeration->name()))) {
        report.At(enumeration, text("enum", std::string(enumeration->name())));
      }
      for (int i = 0; i < enumeration->value_count(); ++i) {
        const std::string name(enumeration->value(i)->name());
        if (is_object(name) && name != "NULL") {
          report.At(enumeration->value(i), text("enum value", name));
        }
      }
    });
  }
}

void Gnu(const Run& run, Report& report) {
  const auto check = [&](const auto& place, const std::string& name) {
    if (name == "linux" || name == "unix" || name == "typeof") {
      report.At(place, "the name '" + name + "' works with -std=c++" +
                           std::to_string(run.parameters.standard) +
                           ", but not with the compilers' own dialect, "
                           "-std=gnu++" +
                           std::to_string(run.parameters.standard) +
                           "; rename it");
    }
  };
  for (const std::string& part : NamespaceParts(run)) {
    check(PlaceOfNamespace(run), part);
  }
  for (const FileDescriptor* file : run.files) {
    for (const std::string& part : PackageParts(file)) {
      check(PlaceOfPackage(file), part);
    }
    ForEachMessage(file, [&](const Descriptor* message) {
      check(message, std::string(message->name()));
      for (int i = 0; i < message->field_count(); ++i) {
        check(message->field(i),
              std::string(message->field(i)->lowercase_name()));
      }
    });
    ForEachEnum(file, [&](const EnumDescriptor* enumeration) {
      check(enumeration, std::string(enumeration->name()));
      for (int i = 0; i < enumeration->value_count(); ++i) {
        check(enumeration->value(i),
              std::string(enumeration->value(i)->name()));
      }
    });
    ForEachService(file, [&](const ServiceDescriptor* service) {
      check(service, std::string(service->name()));
      ForEachMethod(service, [&](const MethodDescriptor* method) {
        check(method, std::string(method->name()));
      });
    });
  }
}

}  // namespace

std::vector<Rule> NameRules() {
  return {
      {"global-name", Severity::kError, "A name at global scope",
       "no_package_global_name package_global_name", Global},
      {"package-of-runtime", Severity::kWarning, "The package `qarn.rpc`",
       "package_of_runtime", OfRuntime},
      {"name-macro", Severity::kError,
       "A package, a services namespace, a service or a message named",
       "package_macro type_macro", Macro},
      {"gnu-name", Severity::kWarning, "A name `linux`, `unix` or `typeof`",
       "gnu_names", Gnu},
  };
}

}  // namespace rpc
}  // namespace qarn
