// The rules about the services namespace and the package.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <map>
#include <set>

#include "lint/generated_names.h"
#include "lint/keywords.h"
#include "lint/rule.h"
#include "naming/file_names.h"
#include "naming/names.h"

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

// Whether each byte above ASCII is part of a character in UTF-8.
bool IsUtf8(const std::string& text) {
  int missing = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool continues = byte >= 0x80 && byte < 0xC0;
    if (continues != (missing > 0) || byte > 0xF4) {
      return false;
    }
    missing +=
        continues ? -1 : (byte >= 0xC0) + (byte >= 0xE0) + (byte >= 0xF0);
  }
  return missing == 0;
}

// Characters above ASCII are left to the compiler: they may be letters.
bool IsName(const std::string& text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) == 0 && c != '_' && byte < 0x80) {
      return false;
    }
  }
  return !text.empty() && IsUtf8(text) &&
         std::isdigit(static_cast<unsigned char>(text[0])) == 0;
}

// Of a value that is cut at its second equals sign.
void EqualsSign(const Run& run, Report& report) {
  const std::string& item = run.parameters.services_namespace_item;
  if (item.find('=') != item.rfind('=')) {
    report.At(PlaceOfNamespace(run),
              "what stands from the second '=' on is dropped, so the services "
              "namespace is '" +
                  run.parameters.services_namespace +
                  "'; leave the equals sign out");
  }
}

void Empty(const Run& run, Report& report) {
  if (!run.parameters.services_namespace_item.empty() &&
      run.parameters.services_namespace.empty()) {
    report.At(PlaceOfNamespace(run),
              "services_namespace has no value, so there is no services "
              "namespace; give a value, or leave the parameter out");
  }
}

void Nested(const Run& run, Report& report) {
  const std::vector<std::string> parts = NamespaceParts(run);
  if (run.parameters.standard < 17 && parts.size() > 1 &&
      std::all_of(parts.begin(), parts.end(), IsName)) {
    report.At(PlaceOfNamespace(run),
              "a services namespace with '::' needs C++17; build with it, or "
              "use one name");
  }
}

void Name(const Run& run, Report& report) {
  const std::vector<std::string> parts = NamespaceParts(run);
  if (!std::all_of(parts.begin(), parts.end(), IsName)) {
    report.At(PlaceOfNamespace(run),
              "the services namespace '" + run.parameters.services_namespace +
                  "' is no C++ name; use letters, digits and underscores");
  }
}

void Keyword(const Run& run, Report& report) {
  for (const std::string& part : NamespaceParts(run)) {
    if (IsKeyword(part, run.parameters.standard)) {
      report.At(PlaceOfNamespace(run),
                "the services namespace '" + part +
                    "' is a C++ keyword; choose another name");
    }
  }
}

bool IsBoostOrStd(const std::string& name) {
  return name == "boost" || name == "std";
}

// Whether the namespaces of `package` are, or are around, those of `file`.
bool IsAround(const std::vector<std::string>& package,
              const FileDescriptor* file) {
  const std::vector<std::string> parts = PackageParts(file);
  return package.size() <= parts.size() &&
         std::equal(package.begin(), package.end(), parts.begin());
}

// What is called boost or std in the namespaces of `file`, but for those
// namespaces themselves.
void BoostOrStdInside(const FileDescriptor* file, Report& report) {
  const auto text = [](const std::string& what) {
    return what +
           " stands ahead of the library of that name, which the generated "
           "code does not find; rename one";
  };
  std::set<std::string> found;
  for (const FileDescriptor* other : WithImports(file)) {
    std::vector<std::string> around;
    for (const std::string& part : PackageParts(other)) {
      const std::vector<std::string> outer = around;
      around.push_back(part);
      if (IsBoostOrStd(part) && !outer.empty() && IsAround(outer, file) &&
          !IsAround(around, file)) {
        found.insert("the package '" + std::string(other->package()) + "'");
      }
    }
    // At global scope it would meet the library itself, which has a rule.
    if (around.empty() || !IsAround(around, file)) {
      continue;
    }
    const auto check = [&](const auto* type, const char* what) {
      if (type->containing_type() == nullptr &&
          IsBoostOrStd(std::string(type->name()))) {
        found.insert(std::string(what) + std::string(type->full_name()) + "'");
      }
    };
    ForEachMessage(other, [&](const Descriptor* message) {
      check(message, "the message '");
    });
    ForEachEnum(other, [&](const EnumDescriptor* enumeration) {
      check(enumeration, "the enum '");
    });
  }
  for (const std::string& what : found) {
    report.At(PlaceOfPackage(file), text(what));
  }
  ForEachService(file, [&](const ServiceDescriptor* service) {
    const std::string name(service->name());
    if (IsBoostOrStd(name) && !PackageParts(file).empty()) {
      report.At(service, text("the service '" + name + "'"));
    }
    // The class Service, which has a typedef for each message, does not ask
    // for std.
    for (const Descriptor* message : MessagesOf(service)) {
      if (MessageClassName(message, false) == "boost" &&
          !IsAround(PackageParts(message->file()), file)) {
        report.At(service, text("the message '" +
                                std::string(message->full_name()) + "'"));
      }
    }
  });
}

// Inside such a namespace, ours and protobuf's texts find it in the place of
// the real boost and std.
void BoostOrStd(const Run& run, Report& report) {
  bool reports_parameter = false;
  for (const FileDescriptor* file : run.files) {
    if (file->service_count() == 0) {
      continue;
    }
    BoostOrStdInside(file, report);
    std::size_t depth = 0;
    const auto is_taken = [&](const std::string& part) {
      return ++depth > 1 && IsBoostOrStd(part);
    };
    for (const std::string& part : PackageParts(file)) {
      if (is_taken(part)) {
        report.At(PlaceOfPackage(file),
                  "in the namespace '" + part +
                      "' of this package the generated code does not find "
                      "that of its libraries; rename the component");
      }
    }
    for (const std::string& part : NamespaceParts(run)) {
      reports_parameter = is_taken(part) || reports_parameter;
    }
  }
  if (reports_parameter) {
    report.At(PlaceOfNamespace(run),
              "in a services namespace 'boost' or 'std' the generated code "
              "does not find that of its libraries; choose another name");
  }
}

// Each name that it meets once, whatever the number of files.
void Taken(const Run& run, Report& report) {
  const std::vector<std::string> parts = NamespaceParts(run);
  if (parts.empty()) {
    return;
  }
  const std::string& name = parts[0];
  std::set<std::string> others;
  for (const FileDescriptor* file : run.files) {
    DeclaredNames declared = TypesInPackage(file);
    const DeclaredNames values = ValuesInPackage(file);
    declared.insert(values.begin(), values.end());
    // What the names in a service's class would hide, where its methods use the
    // namespace.
    bool has_methods = false;
    ForEachService(file, [&](const ServiceDescriptor* service) {
      has_methods = has_methods || service->method_count() > 0;
    });
    ForEachService(file, [&](const ServiceDescriptor* service) {
      // In the namespace, so methods of other services meet them too.
      const std::string of_service =
          "the service " + std::string(service->full_name());
      if (has_methods) {
        declared.emplace(std::string(service->name()), of_service);
        for (const char* suffix : {"Method", "Methods"}) {
          declared.emplace(std::string(service->name()) + suffix,
                           "a type that is made for " + of_service);
        }
      }
      if (service->method_count() == 0) {
        return;
      }
      for (const Descriptor* message : MessagesOf(service)) {
        declared.emplace(MessageClassName(message, false),
                         "the message " + std::string(message->full_name()));
      }
      declared.emplace("Stub", "a class in that of each service");
      declared.emplace("Service", "a class in that of each service");
      declared.emplace("StubBase", "a base of the class Stub");
      declared.emplace("ServiceBase", "a base of the class Service");
      MadeMembers made = MadeMembersOf(service);
      made.service.insert(made.server.begin(), made.server.end());
      ForEachMethod(service, [&](const MethodDescriptor* method) {
        made.stub.erase("_rpcmethod_" + std::string(method->name()));
      });
      made.service.insert(made.stub.begin(), made.stub.end());
      for (const std::string& member : made.service) {
        declared.emplace(member, "a type that is made for " + of_service);
      }
    });
    const auto found = declared.find(name);
    if (found != declared.end()) {
      others.insert(found->second);
    }
  }
  for (const std::string& other : others) {
    std::string text = "the services namespace '" + name;
    text += "' has the name of " + other;
    text += "; choose another name, such as 'api'";
    report.At(PlaceOfNamespace(run), text);
  }
}

// Where the services namespace is a package too, services meet its names.
void IsPackage(const Run& run, Report& report) {
  if (run.parameters.services_namespace.empty()) {
    return;
  }
  for (const FileDescriptor* file : run.files) {
    std::vector<std::string> parts = PackageParts(file);
    const std::vector<std::string> inner = NamespaceParts(run);
    parts.insert(parts.end(), inner.begin(), inner.end());
    DeclaredNames declared;
    for (const FileDescriptor* other : WithImports(file)) {
      if (PackageParts(other) == parts) {
        const DeclaredNames types = TypesInPackage(other);
        declared.insert(types.begin(), types.end());
      }
    }
    ForEachService(file, [&](const ServiceDescriptor* service) {
      const std::string name(service->name());
      for (const std::string& made :
           {name, name + "Method", name + "Methods"}) {
        const auto found = declared.find(made);
        if (found != declared.end()) {
          std::string text = "the type '" + made;
          text += "' that is made for the service '" + name;
          text += "' in the services namespace has the name of ";
          text += found->second + "; choose another services namespace";
          report.At(service, text);
        }
      }
    });
  }
}

void WithPackage(const Run& run, Report& report) {
  const std::vector<std::string> inner = NamespaceParts(run);
  for (const FileDescriptor* file : run.files) {
    const std::vector<std::string> parts = PackageParts(file);
    if (!parts.empty() && file->service_count() > 0 &&
        parts.size() <= inner.size() &&
        std::equal(parts.begin(), parts.end(), inner.begin())) {
      report.At(PlaceOfNamespace(run),
                "the services namespace stands inside the package '" +
                    std::string(file->package()) +
                    "', with which it begins; leave the package out");
      return;
    }
  }
}

// A component of a package, or of the services namespace, that a service's
// macro replaces in all that stands behind it.
void LikeServiceMacro(const Run& run, Report& report) {
  ForEachService(run, [&](const ServiceDescriptor* service) {
    std::map<std::string, Place> places;
    for (const std::string& part : NamespaceParts(run)) {
      places.emplace(part, PlaceOfNamespace(run));
    }
    for (const std::string& part : PackageParts(service->file())) {
      places.emplace(part, PlaceOfPackage(service->file()));
    }
    for (const Descriptor* message : MessagesOf(service)) {
      for (const std::string& part : PackageParts(message->file())) {
        places.emplace(part, PlaceOf(service));
      }
    }
    for (const auto& place : places) {
      if (MacroChanges(service, place.first)) {
        report.At(place.second,
                  "the macro '" + place.first + "' of the service '" +
                      std::string(service->name()) +
                      "' replaces the name of the namespace '" + place.first +
                      "'; write the namespace in lower case");
      }
    }
  });
}

void PackageKeyword(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    for (const std::string& part : PackageParts(file)) {
      if (IsKeyword(part, run.parameters.standard)) {
        report.At(PlaceOfPackage(file),
                  "the component '" + part +
                      "' of the package is a C++ keyword, and names no "
                      "namespace; rename the package");
      }
    }
  }
}

void PackageLikeAlias(const Run& run, Report& report) {
  for (const FileDescriptor* file : run.files) {
    const std::vector<std::string> parts = PackageParts(file);
    if (!parts.empty() && parts[0] == "qarn_rpc") {
      report.At(PlaceOfPackage(file),
                "each generated header has an alias 'qarn_rpc' at global "
                "scope, where this package opens its namespace; put another "
                "component in front");
    }
  }
}

}  // namespace

std::vector<Rule> NamespaceRules() {
  return {
      {"services-namespace-equals-sign", Severity::kWarning, "A value with `=`",
       "second_equals_sign", EqualsSign},
      {"services-namespace-empty", Severity::kWarning,
       "`services_namespace` or", "key_without_value", Empty},
      {"services-namespace-nested", Severity::kError,
       "A services namespace that holds `::`", "services_namespace_nested",
       Nested},
      {"services-namespace-name", Severity::kError,
       "A services namespace with a blank",
       "services_namespace_blank services_namespace_dot "
       "services_namespace_leading_colons",
       Name},
      {"namespace-boost-std", Severity::kError,
       "A services namespace, or a component of the package after",
       "package_around_std package_boost package_std services_namespace_boost "
       "types_boost_std",
       BoostOrStd},
      {"services-namespace-taken", Severity::kError,
       "A services namespace with the name of",
       "services_namespace_like_message services_namespace_like_service "
       "services_namespace_like_used_message",
       Taken},
      {"services-namespace-is-package", Severity::kError,
       "A services namespace with the name of",
       "services_namespace_like_package", IsPackage},
      {"services-namespace-with-package", Severity::kWarning,
       "A services namespace that begins with the package",
       "services_namespace_with_package", WithPackage},
      {"namespace-like-service-macro", Severity::kError,
       "A services namespace, or a component of the package, that",
       "package_captured services_namespace_captured", LikeServiceMacro},
      {"services-namespace-keyword", Severity::kError,
       "A services namespace that is a C++", "services_namespace_keyword",
       Keyword},
      {"package-keyword", Severity::kError,
       "A component of the package that is", "package_keyword", PackageKeyword},
      {"package-qarn-rpc", Severity::kError, "A package whose first",
       "package_qarn_rpc", PackageLikeAlias},
  };
}

}  // namespace rpc
}  // namespace qarn
