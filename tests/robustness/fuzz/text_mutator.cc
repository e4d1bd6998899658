#include "robustness/fuzz/text_mutator.h"

#include <cctype>
#include <cstddef>
#include <iterator>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "plugin/any_syntax_generator.h"

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

// In a statement "@" stands for a new name, "^" for the name of a type, "#" for
// a number. The statements of each kind of block, by the word that opens it; ""
// is the file.
const std::map<std::string, std::vector<const char*>>& Statements() {
  static const std::map<std::string, std::vector<const char*>> statements = {
      {"",
       {
           "message @ {}\n",
           "message @ { message @ {} }\n",
           "service @ {}\n",
           "service @ { rpc @ (^) returns (^); }\n",
           "enum @ { @ = 0; }\n",
           "extend ^ { optional bool @ = 100; }\n",
           "import \"morvane/qarn/rpc/service_options.proto\";\n",
           "import \"google/protobuf/descriptor.proto\";\n",
           "import \"google/protobuf/empty.proto\";\n",
           "import \"input.proto\";\n",
           "import public \"@.proto\";\n",
           "import weak \"@.proto\";\n",
           "package @;\n",
           "package @.@.@;\n",
           "option cc_generic_services = true;\n",
           "option cc_generic_services = false;\n",
           "option java_package = \"@\";\n",
           "option optimize_for = LITE_RUNTIME;\n",
           "// file: @.proto\n",
           "// file: @/@.protodevel\n",
           "// file: @\n",
           "// parameter: services_namespace=@\n",
           "// parameter: services_namespace\n",
           "// parameter: services_namespace=@,@=@\n",
           "syntax = \"proto3\";\n",
           "syntax = \"proto2\";\n",
#ifdef QARN_RPC_HAS_EDITIONS
           "edition = \"2023\";\n",
#endif
           "// @\n",
           "/* @ */\n",
       }},
      {"message",
       {
           "optional ^ @ = #;\n",
           "repeated int32 @ = # [packed = true];\n",
           "required string @ = # [default = \"@\"];\n",
           "^ @ = #;\n",
           "map<string, ^> @ = #;\n",
           "optional group @ = # {}\n",
           "oneof @ { int32 @ = #; }\n",
           "message @ {}\n",
           "enum @ { @ = 0; }\n",
           "extensions 100 to max;\n",
           "reserved #;\n",
           "reserved \"@\";\n",
           "option deprecated = true;\n",
           "extend ^ { optional ^ @ = 101; }\n",
       }},
      {"service",
       {
           "rpc @ (^) returns (^);\n",
           "rpc @ (stream ^) returns (stream ^);\n",
           "rpc @ (^) returns (^) {}\n",
           "rpc @ (^) returns (^) {"
           " option (morvane.qarn.rpc.client_streaming) = true; }\n",
           "rpc @ (^) returns (^) {"
           " option (morvane.qarn.rpc.server_streaming) = true; }\n",
           "rpc @ (^) returns (^) {"
           " option (.morvane.qarn.rpc.client_streaming) = true;"
           " option (.morvane.qarn.rpc.server_streaming) = true; }\n",
           "option deprecated = true;\n",
       }},
      {"rpc",
       {
           "option (morvane.qarn.rpc.client_streaming) = true;\n",
           "option (morvane.qarn.rpc.client_streaming) = false;\n",
           "option (morvane.qarn.rpc.server_streaming) = true;\n",
           "option (.morvane.qarn.rpc.server_streaming) = false;\n",
           "option (morvane.qarn.rpc.requires_local_context) = true;\n",
           "option (@) = true;\n",
           "option deprecated = true;\n",
           "option idempotency_level = IDEMPOTENT;\n",
           ";",
       }},
      {"enum",
       {
           "@ = #;\n",
           "@ = -# [deprecated = true];\n",
           "option allow_alias = true;\n",
           "reserved #;\n",
           "reserved \"@\";\n",
       }},
      {"oneof", {"^ @ = #;\n", "group @ = # {}\n"}},
      {"extend", {"optional ^ @ = 102;\n", "repeated bool @ = 103;\n"}},
  };
  return statements;
}

// Names that templates use, that C++ or .proto files give a meaning, and that
// differ in case or in underscores alone.
const char* const kNames[] = {
    "Echo",   "Ping",      "Msg",     "Service",  "Method",   "Stub",
    "name",   "package",   "ns",      "part",     "Request",  "Response",
    "A_b",    "_",         "__x",     "Echo_v2",  "eCHO",     "Outer",
    "Inner",  "service",   "class",   "rpc",      "qarn",     "morvane",
    "std",    "namespace", "message", "enum",     "option",   "stream",
    "int32",  "returns",   "max",     "to",       "import",   "RPCTEST",
    "Inner_", "syntax",    "true",    "optional", "filename", "x1",
};
const char* const kTypes[] = {
    "int32", "string", "bool", "bytes", "double", ".google.protobuf.Empty",
};

using Span = std::pair<std::size_t, std::size_t>;  // Its begin, and behind it.

// What a text consists of, as far as changes of it must know.
struct Outline {
  std::vector<Span> names;
  std::vector<Span> statements;  // Without their blocks' braces: whole ones.
  // Where a statement can stand, and the word that opens the block around it.
  std::vector<std::pair<std::size_t, std::string>> gaps;
};

bool IsNameByte(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// The end of the string or comment that begins at `begin`; `begin` itself if
// there is none.
std::size_t EndOfOpaque(const std::string& text, std::size_t begin) {
  const auto behind = [&text](const char* end, std::size_t from) {
    const std::size_t at = text.find(end, from);
    return at == std::string::npos ? text.size() : at + std::string(end).size();
  };
  if (text[begin] == '"') {
    return behind("\"", begin + 1);
  }
  if (text.compare(begin, 2, "//") == 0) {
    return behind("\n", begin);
  }
  if (text.compare(begin, 2, "/*") == 0) {
    return behind("*/", begin + 2);
  }
  return begin;
}

Outline Read(const std::string& text) {
  Outline outline;
  // The blocks that are open: the word and the begin of their statement.
  std::vector<std::pair<std::string, std::size_t>> blocks;
  std::string word;  // The first one of the statement.
  std::size_t begin = 0;
  const auto block = [&blocks] {
    return blocks.empty() ? std::string() : blocks.back().first;
  };
  const auto next_statement = [&](std::size_t at) {
    word.clear();
    begin = at;
    outline.gaps.emplace_back(at, block());
  };
  next_statement(0);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end_of_opaque = EndOfOpaque(text, at);
    if (end_of_opaque > at) {
      if (word.empty()) {
        outline.statements.emplace_back(at, end_of_opaque);
      }
      at = end_of_opaque;
      continue;
    }
    if (IsNameByte(text[at])) {
      std::size_t end = at;
      while (end < text.size() && IsNameByte(text[end])) {
        ++end;
      }
      if (word.empty()) {
        word = text.substr(at, end - at);
      } else {
        outline.names.emplace_back(at, end);
      }
      at = end;
      continue;
    }
    const char c = text[at++];
    if (c == '{') {
      blocks.emplace_back(word, begin);
      next_statement(at);
    } else if (c == '}' && !blocks.empty()) {
      outline.statements.emplace_back(blocks.back().second, at);
      blocks.pop_back();
      next_statement(at);
    } else if (c == ';') {
      outline.statements.emplace_back(begin, at);
      next_statement(at);
    }
  }
  return outline;
}

class Mutator {
 public:
  Mutator(std::string text, unsigned seed)
      : text_(std::move(text)), random_(seed) {}

  std::string Run() {
    for (std::size_t left = Below(3) + 1; left > 0; --left) {
      outline_ = Read(text_);
      Change();
    }
    return text_;
  }

 private:
  std::size_t Below(std::size_t bound) { return random_() % bound; }

  template <typename Table>
  auto Pick(const Table& table) {
    return *(std::begin(table) +
             static_cast<std::ptrdiff_t>(Below(std::size(table))));
  }

  void Change() {
    const std::size_t choice = Below(8);
    if (choice < 4 || outline_.statements.empty()) {
      Add();
    } else if (choice == 4) {
      const Span statement = Pick(outline_.statements);
      text_.erase(statement.first, statement.second - statement.first);
    } else if (choice == 5) {
      const Span statement = Pick(outline_.statements);
      const std::string again =
          text_.substr(statement.first, statement.second - statement.first);
      text_.insert(Pick(outline_.gaps).first, again);
    } else if (!outline_.names.empty()) {
      const Span name = Pick(outline_.names);
      text_.replace(name.first, name.second - name.first,
                    choice == 6 ? Name() : OldName());
    }
  }

  void Add() {
    const auto gap = Pick(outline_.gaps);
    const auto found = Statements().find(gap.second);
    const auto& statements =
        found == Statements().end() ? Statements().at("") : found->second;
    const std::string chosen = Pick(statements);
    std::string statement;
    for (const char c : chosen) {
      statement += c == '@'   ? Name()
                   : c == '^' ? Type()
                   : c == '#' ? std::to_string(Below(30) + 1)
                              : std::string(1, c);
    }
    // The syntax comes first, and lines with a meaning of ours begin a line.
    if (chosen.compare(0, 6, "syntax") == 0 ||
        chosen.compare(0, 7, "edition") == 0) {
      text_.insert(0, statement);
    } else {
      text_.insert(gap.first,
                   (chosen.compare(0, 3, "// ") == 0 ? "\n" : "") + statement);
    }
  }

  std::string OldName() {
    if (outline_.names.empty()) {
      return Pick(kNames);
    }
    const Span name = Pick(outline_.names);
    return text_.substr(name.first, name.second - name.first);
  }

  std::string Name() {
    const std::size_t choice = Below(8);
    std::string name = choice == 0 ? OldName() : Pick(kNames);
    if (choice >= 5) {  // Most tables of names take each but once.
      name += std::to_string(Below(100));
    }
    return name;
  }

  // Most often a message of the text.
  std::string Type() {
    if (Below(4) == 0) {
      return Pick(kTypes);
    }
    std::vector<std::string> messages;
    const std::string word = "message ";
    for (std::size_t at = text_.find(word); at != std::string::npos;
         at = text_.find(word, at)) {
      at += word.size();
      std::size_t end = at;
      while (end < text_.size() && IsNameByte(text_[end])) {
        ++end;
      }
      messages.push_back(text_.substr(at, end - at));
    }
    if (messages.empty()) {
      return OldName();
    }
    std::string type = Pick(messages);
    if (Below(4) == 0) {  // One nested in another, as it may be.
      type += "." + Pick(messages);
    }
    return type;
  }

  std::string text_;
  Outline outline_;
  std::minstd_rand random_;
};

}  // namespace

std::string MutateText(std::string text, unsigned seed) {
  return Mutator(std::move(text), seed).Run();
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
