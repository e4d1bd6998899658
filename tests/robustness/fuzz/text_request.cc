#include "robustness/fuzz/text_request.h"

#include <google/protobuf/compiler/importer.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>

#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "robustness/fuzz/properties.h"
#include "support/protobuf_compat.h"

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

namespace pb = google::protobuf;

constexpr char kFileLine[] = "// file: ";
constexpr char kParameterLine[] = "// parameter: ";

struct Sources {
  std::string parameter;
  std::map<std::string, std::string> texts;
  std::vector<std::string> names;  // In the order of the text.
};

// What stands in `line` behind `start`; nothing if it starts otherwise.
std::optional<std::string> Behind(const std::string& start,
                                  const std::string& line) {
  if (line.compare(0, start.size(), start) != 0) {
    return std::nullopt;
  }
  return line.substr(start.size());
}

Sources Split(const std::string& text) {
  Sources sources;
  std::string name;
  const auto begin_file = [&](const std::string& new_name) {
    name = new_name;
    if (sources.texts.emplace(name, "").second) {
      sources.names.push_back(name);
    }
  };
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (const auto parameter = Behind(kParameterLine, line)) {
      sources.parameter = *parameter;
    } else if (const auto file = Behind(kFileLine, line)) {
      begin_file(*file);
    } else {
      if (name.empty()) {
        begin_file("input.proto");
      }
      sources.texts[name] += line + "\n";
    }
  }
  return sources;
}

// Parses files and builds their descriptors, each after what it imports.
class Reader {
 public:
  Reader(const std::map<std::string, std::string>& texts,
         pb::compiler::CodeGeneratorRequest* request)
      : tree_(texts),
        parser_(&tree_),
        pool_(StandardPool()),
        request_(request) {
    parser_.RecordErrorsTo(&errors_);
  }

  // Appends the file to the request, after its imports. False if there is none
  // of this name, or it is wrong.
  bool Read(const std::string& name) {
    if (pool_.FindFileByName(name) != nullptr) {
      return true;
    }
    // In the midst of being read: the file imports itself.
    if (!begun_.insert(name).second) {
      return false;
    }
    pb::FileDescriptorProto parsed;
    if (!parser_.FindFileByName(name, &parsed)) {
      const pb::FileDescriptor* linked_in =
          pb::DescriptorPool::generated_pool()->FindFileByName(name);
      if (linked_in == nullptr) {
        return false;
      }
      linked_in->CopyTo(&parsed);
    }
    for (const std::string& import : parsed.dependency()) {
      if (!Read(import)) {
        return false;
      }
    }
    const pb::FileDescriptor* built = pool_.BuildFile(parsed);
    if (built == nullptr) {
      return false;
    }
    // Not as it was parsed: its options were only names and values then.
    built->CopyTo(request_->add_proto_file());
    return true;
  }

 private:
  testing::MemorySourceTree tree_;
  testing::ErrorText errors_;
  pb::compiler::SourceTreeDescriptorDatabase parser_;
  pb::DescriptorPool pool_;
  std::set<std::string> begun_;
  pb::compiler::CodeGeneratorRequest* const request_;
};

}  // namespace

std::optional<pb::compiler::CodeGeneratorRequest> ParseText(
    const std::string& text) {
  const Sources sources = Split(text);
  pb::compiler::CodeGeneratorRequest sent;
  Reader reader(sources.texts, &sent);
  for (const std::string& name : sources.names) {
    if (!reader.Read(name)) {
      return std::nullopt;
    }
    sent.add_file_to_generate(name);
  }
  if (!sources.parameter.empty()) {
    sent.set_parameter(sources.parameter);
  }
  // The options of ours are known extensions only to who reads them.
  pb::compiler::CodeGeneratorRequest received;
  if (!received.ParseFromString(sent.SerializeAsString())) {
    return std::nullopt;
  }
  return received;
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
