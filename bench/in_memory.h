// Descriptors and output files in memory, for the benchmarks.

#ifndef QARN_RPC_BENCH_IN_MEMORY_H_
#define QARN_RPC_BENCH_IN_MEMORY_H_

#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/descriptor.h>

#include <map>
#include <string>

enum class GenericServices { kOff, kOn };

// A file with one service of `methods` methods, the four streaming kinds in
// turn, over 40 messages: what bench/make_inputs.py writes as well. It lives as
// long as `pool`, which may hold but one file of this kind.
const google::protobuf::FileDescriptor* BuildWideFile(
    int methods, GenericServices generic_services,
    google::protobuf::DescriptorPool* pool);

// Keeps what a generator writes.
class InMemoryFiles : public google::protobuf::compiler::GeneratorContext {
 public:
  google::protobuf::io::ZeroCopyOutputStream* Open(
      const std::string& name) override;

  // Insertion points are names like others: what is put there counts too.
  google::protobuf::io::ZeroCopyOutputStream* OpenForInsert(
      const std::string& name, const std::string& insertion_point) override;

  // The size of all files together.
  std::size_t bytes() const;

  const std::map<std::string, std::string>& texts() const { return texts_; }

 private:
  std::map<std::string, std::string> texts_;
};

#endif  // QARN_RPC_BENCH_IN_MEMORY_H_
