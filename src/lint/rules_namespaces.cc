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
using google::protobuf::FileDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

Place PlaceOfNamespace(const Run& run) {
  return PlaceOfParameter(run.parameters.services_namespace_item);
}

// The names between the "::" of the services namespace, blanks around them
// left out; none if it is empty.
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

// Bytes above ASCII are left to the compiler: they may be letters.
bool IsName(const std::string& text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) == 0 && c != '_' && byte < 0x80) {
      return false;
    }
  }
  return !text.empty() &&
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

// Inside such a namespace, ours and protobuf's texts find it in the place of
// the real boost and std.
void BoostOrStd(const Run& run, Report& report) {
  bool reports_parameter = false;
  for (const FileDescriptor* file : run.files) {
    if (file->service_count() == 0) {
      continue;
    }
    std::size_t depth = 0;
    const auto is_taken = [&](const std::string& part) {
      return ++depth > 1 && (part == "boost" || part == "std");
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
    const DeclaredNames values = EnumValuesInPackage(file);
    declared.insert(values.begin(), values.end());
    // What the names in a service's class would hide, where its methods use the
    // namespace.
    ForEachService(file, [&](const ServiceDescriptor* service) {
      if (service->method_count() == 0) {
        return;
      }
      for (const Descriptor* message : MessagesOf(service)) {
        declared.emplace(MessageClassName(message, false),
                         "the message " + std::string(message->full_name()));
      }
      declared.emplace(std::string(service->name()),
                       "the service " + std::string(service->full_name()));
      declared.emplace("Stub", "a class in that of each service");
      declared.emplace("Service", "a class in that of each service");
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
       "package_boost package_std services_namespace_boost", BoostOrStd},
      {"services-namespace-taken", Severity::kError,
       "A services namespace with the name of",
       "services_namespace_like_message services_namespace_like_service",
       Taken},
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
