#include "lint/keywords.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;

namespace {

// Sorted. C++14 and C++17 have the keywords of C++11.
constexpr const char* kKeywords11[] = {"alignas",      "alignof",
                                       "and",          "and_eq",
                                       "asm",          "auto",
                                       "bitand",       "bitor",
                                       "bool",         "break",
                                       "case",         "catch",
                                       "char",         "char16_t",
                                       "char32_t",     "class",
                                       "compl",        "const",
                                       "const_cast",   "constexpr",
                                       "continue",     "decltype",
                                       "default",      "delete",
                                       "do",           "double",
                                       "dynamic_cast", "else",
                                       "enum",         "explicit",
                                       "export",       "extern",
                                       "false",        "float",
                                       "for",          "friend",
                                       "goto",         "if",
                                       "inline",       "int",
                                       "long",         "mutable",
                                       "namespace",    "new",
                                       "noexcept",     "not",
                                       "not_eq",       "nullptr",
                                       "operator",     "or",
                                       "or_eq",        "private",
                                       "protected",    "public",
                                       "register",     "reinterpret_cast",
                                       "return",       "short",
                                       "signed",       "sizeof",
                                       "static",       "static_assert",
                                       "static_cast",  "struct",
                                       "switch",       "template",
                                       "this",         "thread_local",
                                       "throw",        "true",
                                       "try",          "typedef",
                                       "typeid",       "typename",
                                       "union",        "unsigned",
                                       "using",        "virtual",
                                       "void",         "volatile",
                                       "wchar_t",      "while",
                                       "xor",          "xor_eq"};

// Sorted; those that C++20 adds.
constexpr const char* kKeywords20[] = {"char8_t",   "co_await", "co_return",
                                       "co_yield",  "concept",  "consteval",
                                       "constinit", "requires"};

template <typename List>
bool Has(const List& sorted, const std::string& name) {
  return std::binary_search(std::begin(sorted), std::end(sorted), name);
}

}  // namespace

bool IsKeyword(const std::string& name, int standard) {
  return Has(kKeywords11, name) || (standard >= 20 && Has(kKeywords20, name));
}

std::string ProtobufClassName(const Descriptor* message) {
  std::vector<const Descriptor*> chain;
  for (const Descriptor* outer = message; outer != nullptr;
       outer = outer->containing_type()) {
    chain.insert(chain.begin(), outer);
  }
  std::string name;
  for (const Descriptor* outer : chain) {
    name += (name.empty() ? "" : "_") + std::string(outer->name());
    // NULL is on protobuf's list, as the one macro. Keywords of C++20 are not
    // on that of protobuf 21.
    if (name == "NULL" || IsKeyword(name, 11)) {
      name += "_";
    }
  }
  return name;
}

}  // namespace rpc
}  // namespace qarn
