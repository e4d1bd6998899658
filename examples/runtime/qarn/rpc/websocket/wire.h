// Part of the example runtime (see qarn/rpc/websocket.h): the texts on the
// wire.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_WIRE_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_WIRE_H_

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "qarn/rpc/status.h"

namespace qarn::rpc::websocket {

// Headers of the request that begins a call. A timeout is in milliseconds.
constexpr char kLabelHeader[] = "Qarn-Label";
constexpr char kTimeoutHeader[] = "Qarn-Timeout";

// The longest text of an end, and the same as it is sent, with the code.
constexpr std::size_t kEndTextLimit = 1024;
constexpr std::size_t kLongestEnd = 3 * kEndTextLimit + 16;

// "a b" -> "a%20b". Letters, digits and "-._~" stay.
inline std::string Escape(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
        (c >= '0' && c <= '9') ||
        std::string_view("-._~").find(c) != std::string_view::npos) {
      escaped += c;
    } else {
      constexpr char kDigits[] = "0123456789ABCDEF";
      const auto byte = static_cast<unsigned char>(c);
      escaped += {'%', kDigits[byte / 16], kDigits[byte % 16]};
    }
  }
  return escaped;
}

// The whole text as a number; nothing if it is none, or too large a one.
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
  while (!text.empty()) {
    if (text[0] != '%') {
      plain += text[0];
      text.remove_prefix(1);
      continue;
    }
    if (text.size() < 3) return std::nullopt;
    const auto byte = ParseNumber<unsigned char>(text.substr(1, 2), 16);
    if (!byte) return std::nullopt;
    plain += static_cast<char>(*byte);
    text.remove_prefix(3);
  }
  return plain;
}

// The text message that ends a direction: (kFailed, "no more") -> "5
// no%20more". What is longer than 1 KiB is cut.
inline std::string FormatEnd(const Status& status) {
  return std::to_string(static_cast<int>(status.code())) + " " +
         Escape(std::string_view(status.message()).substr(0, kEndTextLimit));
}

// The other way; the blank may be missing. Nothing if the text is no end.
inline std::optional<Status> ParseEnd(std::string_view text) {
  const std::string_view number = text.substr(0, text.find(' '));
  text.remove_prefix(std::min(text.size(), number.size() + 1));
  const auto code = ParseNumber<unsigned>(number);
  const auto message = Unescape(text);
  if (!code || *code > static_cast<unsigned>(StatusCode::kLast) || !message) {
    return std::nullopt;
  }
  return Status(static_cast<StatusCode>(*code), *message);
}

}  // namespace qarn::rpc::websocket

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_WIRE_H_
