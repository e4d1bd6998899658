// Decisions taken from a string of bytes.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_BYTE_SOURCE_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_BYTE_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace qarn {
namespace rpc {
namespace fuzz {

// Hands out one byte at a time. When the bytes are used up it goes on with
// zeros for ever, so a caller lets 0 stand for the plain choice and for the end
// of a list: every string of bytes then means something finite.
class ByteSource {
 public:
  // Borrows `data`, which must outlive the object.
  ByteSource(const std::uint8_t* data, std::size_t size)
      : data_(data), size_(size) {}

  // The next byte.
  std::uint8_t Next() { return position_ < size_ ? data_[position_++] : 0; }

  // A number from 0 to `bound` - 1; `bound` is from 1 to 256.
  std::size_t Below(std::size_t bound) { return Next() % bound; }

  // True in one of `bound` cases, never when the bytes are used up.
  bool OneIn(std::size_t bound) { return Below(bound) == bound - 1; }

  // Up to `limit` bytes as they stand.
  std::string Text(std::size_t limit) {
    std::string text;
    for (std::size_t left = Below(limit + 1); left > 0; --left) {
      text += static_cast<char>(Next());
    }
    return text;
  }

 private:
  const std::uint8_t* const data_;
  const std::size_t size_;
  std::size_t position_ = 0;
};

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_BYTE_SOURCE_H_
