#include "naming/names.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/replace.hpp>

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;

namespace {

// The message that encloses `message` and is itself not nested; a top-level
// message is its own outermost one.
const Descriptor* OutermostMessage(const Descriptor* message) {
  while (message->containing_type() != nullptr) {
    message = message->containing_type();
  }
  return message;
}

}  // namespace

std::string DotsToUnderscores(const std::string& name) {
  return boost::algorithm::replace_all_copy(name, ".", "_");
}

std::string DotsToColons(const std::string& name) {
  return boost::algorithm::replace_all_copy(name, ".", "::");
}

std::string MessageClassName(const Descriptor* message, bool qualified) {
  const Descriptor* outermost = OutermostMessage(message);
  const std::string outer(outermost->full_name());
  const std::string rest =
      std::string(message->full_name()).substr(outer.size());
  if (qualified) {
    return "::" + DotsToColons(outer) + DotsToUnderscores(rest);
  }
  return std::string(outermost->name()) + DotsToUnderscores(rest);
}

std::string MacroPrefix(const std::string& service_name) {
  return boost::algorithm::to_upper_copy(service_name);
}

}  // namespace rpc
}  // namespace qarn
