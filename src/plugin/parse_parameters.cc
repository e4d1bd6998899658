#include "plugin/parse_parameters.h"

#include <vector>

#include "text/split.h"

namespace qarn {
namespace rpc {

bool ParseParameters(const std::string& text, Parameters* parameters,
                     std::string* error) {
  // No parameters at all; to split it would give one empty, unknown item.
  if (text.empty()) {
    return true;
  }
  for (const std::string& item : Split(text, ',')) {
    const std::vector<std::string> pieces = Split(item, '=');
    if (pieces[0] != "services_namespace") {
      *error = "Unknown parameter: " + item;
      return false;
    }
    // A key without "=" has an empty value: a known key is never an error.
    parameters->services_namespace = pieces.size() > 1 ? pieces[1] : "";
  }
  return true;
}

}  // namespace rpc
}  // namespace qarn
