#include "support/generate.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "plugin/generator.h"

namespace qarn {
namespace rpc {
namespace testing {

namespace {

using google::protobuf::io::StringOutputStream;

// Tells when it is closed.
class RecordingStream : public StringOutputStream {
 public:
  RecordingStream(const std::string& name, std::string* text,
                  std::vector<std::string>* events)
      : StringOutputStream(text), name_(name), events_(events) {
    events_->push_back("open " + name_);
  }
  ~RecordingStream() override { events_->push_back("close " + name_); }

 private:
  const std::string name_;
  std::vector<std::string>* const events_;
};

}  // namespace

google::protobuf::io::ZeroCopyOutputStream* MemoryContext::Open(
    const std::string& name) {
  return new RecordingStream(name, &files_[name], &events_);
}

GenerateResult Generate(const google::protobuf::FileDescriptor* file,
                        const std::string& parameter) {
  MemoryContext context;
  GenerateResult result;
  result.succeeded =
      CppGenerator().Generate(file, parameter, &context, &result.error);
  result.files = context.files();
  result.events = context.events();
  return result;
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn
