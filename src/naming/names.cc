#include "naming/names.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <cstddef>

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

// Appends `name` with `replacement` in the place of every ".".
void AppendWithoutDots(std::string_view name, std::string_view replacement,
                       std::string* text) {
  std::size_t begin = 0;
  std::size_t dot = name.find('.');
  while (dot != std::string_view::npos) {
    text->append(name, begin, dot - begin).append(replacement);
    begin = dot + 1;
    dot = name.find('.', begin);
  }
  text->append(name, begin);
}

}  // namespace

std::string DotsToUnderscores(const std::string& name) {
  std::string text;
  AppendWithoutDots(name, "_", &text);
  return text;
}

std::string DotsToColons(const std::string& name) {
  std::string text;
  AppendWithoutDots(name, "::", &text);
  return text;
}

std::string MessageClassName(const Descriptor* message, bool qualified) {
  std::string text;
  const std::string_view unqualified = AssignMessageClassName(message, &text);
  return qualified ? text : std::string(unqualified);
}

std::string_view AssignMessageClassName(const Descriptor* message,
                                        std::string* text) {
  const Descriptor* outermost = OutermostMessage(message);
  const std::string_view outer(outermost->full_name());
  text->assign("::");
  AppendWithoutDots(outer, "::", text);
  const std::size_t namespace_size = text->size() - outermost->name().size();
  if (message != outermost) {
    const std::string_view name(message->full_name());
    AppendWithoutDots(name.substr(outer.size()), "_", text);
  }
  std::string_view unqualified(*text);
  unqualified.remove_prefix(namespace_size);
  return unqualified;
}

std::string MacroPrefix(const std::string& service_name) {
  return boost::algorithm::to_upper_copy(service_name);
}

}  // namespace rpc
}  // namespace qarn
