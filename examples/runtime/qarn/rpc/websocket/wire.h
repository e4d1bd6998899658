// Part of the example runtime (see qarn/rpc/websocket.h): the texts on the wire.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_WIRE_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_WIRE_H_

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "qarn/rpc/status.h"

namespace qarn {
namespace rpc {
namespace websocket {

// Headers of the upgrade. A timeout is a number of milliseconds.
constexpr char kLabelHeader[] = "Qarn-Label";
constexpr char kTimeoutHeader[] = "Qarn-Timeout";

// The longest text of an end; what is longer is cut.
constexpr std::size_t kEndTextLimit = 1024;

// "a b" -> "a%20b". Letters, digits and "-._~" stay.
inline std::string Escape(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string escaped;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool stays = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       (c >= '0' && c <= '9') || c == '-' || c == '.' ||
                       c == '_' || c == '~';
    if (stays) {
      escaped += c;
    } else {
      escaped += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return escaped;
}

// A whole text as a number, in the base; nothing if it is none or too large.
template <class Number>
std::optional<Number> ParseNumber(std::string_view text, int base = 10) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, base);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

// "a%20b" -> "a b". Nothing if a "%" is not followed by two digits.
inline std::optional<std::string> Unescape(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      plain += text[i];
      continue;
    }
    const auto byte = ParseNumber<unsigned char>(text.substr(i + 1, 2), 16);
    if (!byte || i + 2 >= text.size()) return std::nullopt;
    plain += static_cast<char>(*byte);
    i += 2;
  }
  return plain;
}

// The text message that ends a direction: (kFailed, "no more") -> "5 no%20more".
inline std::string FormatEnd(const Status& status) {
  return std::to_string(static_cast<int>(status.code())) + " " +
         Escape(std::string_view(status.message()).substr(0, kEndTextLimit));
}

// The other way, with or without the blank. Nothing if the text is no end.
inline std::optional<Status> ParseEnd(std::string_view text) {
  const std::size_t blank = text.find(' ');
  const auto code = ParseNumber<unsigned>(text.substr(0, blank));
  const auto message = Unescape(
      blank == std::string_view::npos ? "" : text.substr(blank + 1));
  if (!code || *code > static_cast<unsigned>(kLastStatusCode) || !message) {
    return std::nullopt;
  }
  return Status(static_cast<StatusCode>(*code), *message);
}

}  // namespace websocket
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_WIRE_H_
