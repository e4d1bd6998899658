#include "robustness/fuzz/text_checks.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() &&
         text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool HasOnly(const std::string& text, const char* extra) {
  return text.find_first_not_of(
             std::string(extra) +
             "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
             "0123456789_") == std::string::npos;
}

// What stands in `line` between `begin` and `end`; "" if it is not such a line.
std::string Between(const std::string& line, const std::string& begin,
                    const std::string& end) {
  if (line.size() < begin.size() + end.size() || line.rfind(begin, 0) != 0 ||
      !EndsWith(line, end)) {
    return "";
  }
  return line.substr(begin.size(), line.size() - begin.size() - end.size());
}

}  // namespace

std::size_t Count(const std::string& text, const std::string& word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::string::npos;
       at = text.find(word, at + word.size())) {
    ++count;
  }
  return count;
}

std::string BaseName(const std::string& file_name) {
  const std::size_t cut = EndsWith(file_name, ".protodevel") ? 11
                          : EndsWith(file_name, ".proto")    ? 6
                                                             : 0;
  return file_name.substr(0, file_name.size() - cut);
}

std::string ParameterError(const std::string& parameter) {
  if (parameter.empty()) {
    return "";
  }
  // Ended by a comma, so that an item ends at each comma and nowhere else.
  std::string left = parameter + ",";
  for (std::size_t end = left.find(','); end != std::string::npos;
       end = left.find(',')) {
    const std::string item = left.substr(0, end);
    if (item.substr(0, item.find('=')) != "services_namespace") {
      return "Unknown parameter: " + item;
    }
    left.erase(0, end + 1);
  }
  return "";
}

std::string ServicesNamespace(const std::string& parameter) {
  std::string value;
  std::istringstream items(parameter);
  for (std::string item; std::getline(items, item, ',');) {
    std::istringstream pieces(item);
    std::string key;
    value.clear();
    std::getline(pieces, key, '=');
    std::getline(pieces, value, '=');
  }
  return value;
}

bool IsPlainPath(const std::string& path) { return HasOnly(path, "./"); }

bool IsPlainNamespace(const std::string& name) { return HasOnly(name, ""); }

std::string CheckTemplatesAndBraces(const std::string& text, bool) {
  if (text.find('$') != std::string::npos) {
    return "a $ is left";
  }
  int open = 0;
  for (const char c : text) {
    open += c == '{' ? 1 : c == '}' ? -1 : 0;
    if (open < 0) {
      return "a brace is closed that was never opened";
    }
  }
  return open == 0 ? "" : "a brace is left open";
}

std::string CheckNamespaces(const std::string& text, bool is_header) {
  std::vector<std::string> opened;
  std::vector<std::string> closed;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::string opens = Between(line, "namespace ", " {");
    const std::string closes = Between(line, "}  // namespace ", "");
    if (IsPlainNamespace(opens) && !opens.empty()) {
      opened.push_back(opens);
    }
    if (!closes.empty()) {
      closed.push_back(closes);
    }
  }
  if (is_header) {
    std::reverse(closed.begin(), closed.end());
  }
  return opened == closed ? ""
                          : "namespaces are not closed as they were opened";
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
