#include "support/generate.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <cstdint>

#include "plugin/generator.h"

namespace qarn {
namespace rpc {
namespace testing {

namespace {

using google::protobuf::io::StringOutputStream;
using google::protobuf::io::ZeroCopyOutputStream;

// Tells when it is opened and closed. Not derived from protobuf's stream into a
// string, which is final in current releases.
class RecordingStream : public ZeroCopyOutputStream {
 public:
  RecordingStream(const std::string& name, std::string* text,
                  std::vector<std::string>* events)
      : stream_(text), name_(name), events_(events) {
    events_->push_back("open " + name_);
  }
  ~RecordingStream() override { events_->push_back("close " + name_); }

  bool Next(void** data, int* size) override {
    return stream_.Next(data, size);
  }
  void BackUp(int count) override { stream_.BackUp(count); }
  std::int64_t ByteCount() const override { return stream_.ByteCount(); }

 private:
  StringOutputStream stream_;
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
