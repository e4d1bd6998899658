#include "lint/finding.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace qarn {
namespace rpc {

using google::protobuf::SourceLocation;

namespace {

// Line and column, from 1; both 0 if they are not known. An option's place may
// be missing, as protoc keeps none for some: then its element's counts.
std::pair<int, int> LineAndColumn(const Place& place) {
  if (place.file == nullptr) {
    return {0, 0};
  }
  std::vector<int> path = place.path;
  SourceLocation location;
  bool is_known = place.file->GetSourceLocation(path, &location);
  while (!is_known && path.size() >= 2) {
    path.resize(path.size() - 2);
    is_known = place.file->GetSourceLocation(path, &location);
  }
  if (!is_known) {
    return {0, 0};
  }
  return {location.start_line + 1, location.start_column + 1};
}

// The place up to the colon and blank ahead of the severity.
std::string PlaceText(const Place& place) {
  const std::pair<int, int> position = LineAndColumn(place);
  std::string text =
      place.file == nullptr ? "" : std::string(place.file->name());
  if (position.first > 0) {
    return text + ":" + std::to_string(position.first) + ":" +
           std::to_string(position.second);
  }
  if (!text.empty() && !place.name.empty()) {
    text += ": ";
  }
  return text + place.name;
}

}  // namespace

std::string Format(const Finding& finding) {
  const char* severity =
      finding.severity == Severity::kError ? "error" : "warning";
  std::string line = PlaceText(finding.place) + ": " + severity + ": " +
                     finding.text + " [" + finding.rule + "]";
  // A services namespace may hold a line break.
  std::replace_if(
      line.begin(), line.end(),
      [](unsigned char c) { return c < ' ' || c == 0x7f; }, ' ');
  return line;
}

bool StandsAhead(const Finding& one, const Finding& other) {
  const std::pair<int, int> position = LineAndColumn(one.place);
  const std::pair<int, int> other_position = LineAndColumn(other.place);
  return position != other_position ? position < other_position
                                    : one.place.path < other.place.path;
}

}  // namespace rpc
}  // namespace qarn
