#include "text/split.h"

#include <boost/algorithm/string/split.hpp>

namespace qarn {
namespace rpc {

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  boost::algorithm::split(
      pieces, text, [separator](char c) { return c == separator; },
      boost::algorithm::token_compress_off);
  return pieces;
}

}  // namespace rpc
}  // namespace qarn
