#include "lint/suppressions.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <sstream>

#include "lint/rule.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::SourceCodeInfo;

const char kSuppressionRule[] = "suppression";

namespace {

constexpr char kMark[] = "qarn-rpc-lint:";

// One comment.
struct Suppression {
  // The element that the comment stands at.
  Place place;
  std::string rule;
  // What is wrong with it; empty if it is in order.
  std::string mistake;
};

// Reads what stands behind the mark: "off RULE because REASON".
Suppression Parse(const Place& place, const std::string& text) {
  Suppression suppression;
  suppression.place = place;
  std::istringstream words(text);
  std::string off;
  std::string because;
  std::string reason;
  words >> off >> suppression.rule >> because >> reason;
  const std::vector<Rule> rules = AllRules();
  if (off != "off" || suppression.rule.empty()) {
    suppression.mistake =
        "this comment is not understood; write 'qarn-rpc-lint: off RULE "
        "because REASON'";
  } else if (std::none_of(rules.begin(), rules.end(), [&](const Rule& rule) {
               return suppression.rule == rule.name;
             })) {
    suppression.mistake = "this comment switches off '" + suppression.rule +
                          "', and there is no such rule; correct its name";
  } else if (because != "because" || reason.empty()) {
    suppression.mistake = "this comment says not why it switches off '" +
                          suppression.rule + "'; add 'because' and the reason";
  }
  return suppression;
}

// Appends the suppressions in a comment, of which each has a line.
void ParseComment(const Place& place, const std::string& comment,
                  std::vector<Suppression>* suppressions) {
  std::istringstream lines(comment);
  for (std::string line; std::getline(lines, line);) {
    const std::string::size_type begin = line.find_first_not_of(" \t");
    if (begin != std::string::npos &&
        line.compare(begin, sizeof(kMark) - 1, kMark) == 0) {
      suppressions->push_back(
          Parse(place, line.substr(begin + sizeof(kMark) - 1)));
    }
  }
}

std::vector<Suppression> SuppressionsOf(const FileDescriptor* file) {
  FileDescriptorProto proto;
  file->CopySourceCodeInfoTo(&proto);
  std::vector<Suppression> suppressions;
  for (const SourceCodeInfo::Location& location :
       proto.source_code_info().location()) {
    Place place;
    place.file = file;
    place.path.assign(location.path().begin(), location.path().end());
    for (const std::string& comment : location.leading_detached_comments()) {
      ParseComment(place, comment, &suppressions);
    }
    ParseComment(place, location.leading_comments(), &suppressions);
    const std::size_t ahead = suppressions.size();
    ParseComment(place, location.trailing_comments(), &suppressions);
    for (std::size_t i = ahead; i < suppressions.size(); ++i) {
      suppressions[i].mistake =
          "this comment stands behind an element, and switches off nothing; "
          "put "
          "it on the lines ahead of one";
    }
  }
  return suppressions;
}

// Whether the suppression's element is the finding's or encloses it.
bool Covers(const Suppression& suppression, const Finding& finding) {
  if (finding.place.file != suppression.place.file) {
    return false;
  }
  const std::vector<int>& outer = suppression.place.path;
  if (outer.size() == 1 &&
      (outer[0] == FileDescriptorProto::kPackageFieldNumber ||
       outer[0] == FileDescriptorProto::kSyntaxFieldNumber)) {
    return true;
  }
  const std::vector<int>& inner = finding.place.path;
  return outer.size() <= inner.size() &&
         std::equal(outer.begin(), outer.end(), inner.begin());
}

}  // namespace

void ApplySuppressions(const std::vector<const FileDescriptor*>& files,
                       const std::set<std::string>& off,
                       std::vector<Finding>* findings) {
  std::vector<Finding> about_comments;
  for (const FileDescriptor* file : files) {
    for (const Suppression& suppression : SuppressionsOf(file)) {
      std::string mistake = suppression.mistake;
      if (mistake.empty()) {
        const auto kept = std::remove_if(
            findings->begin(), findings->end(), [&](const Finding& finding) {
              return finding.rule == suppression.rule &&
                     Covers(suppression, finding);
            });
        if (kept == findings->end() && off.count(suppression.rule) == 0) {
          mistake = "this comment switches off '" + suppression.rule +
                    "', which finds nothing here; remove it";
        }
        findings->erase(kept, findings->end());
      }
      if (!mistake.empty()) {
        about_comments.push_back(
            {suppression.place, Severity::kWarning, mistake, kSuppressionRule});
      }
    }
  }
  findings->insert(findings->end(), about_comments.begin(),
                   about_comments.end());
}

}  // namespace rpc
}  // namespace qarn
