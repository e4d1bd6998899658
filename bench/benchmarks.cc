// The benchmarks of what happens inside the plugin: the method variables, the
// two long sections, a whole file, and two measures to hold them against:
// libprotoc's own C++ generator, and protobuf's printer alone.
//
// QARN_RPC_REQUEST in the environment names a file with the request that protoc
// makes of a file of bench/make_inputs.py with 4,096 methods or more in its one
// service; save_request.sh writes one.

#include <benchmark/benchmark.h>
#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/compiler/plugin.pb.h>
#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
// Packages of current releases leave it out, and the benchmark with it.
#if __has_include(<google/protobuf/compiler/cpp/generator.h>)
#include <google/protobuf/compiler/cpp/generator.h>
#define QARN_RPC_HAS_LIBPROTOC_GENERATOR
#endif

#include <boost/algorithm/string/replace.hpp>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

#include "header/services.h"
#include "naming/variables.h"
#include "plugin/generator.h"
#include "source/services.h"

namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using google::protobuf::compiler::CodeGenerator;
using google::protobuf::compiler::CodeGeneratorRequest;
using google::protobuf::io::ZeroCopyOutputStream;
using qarn::rpc::VariableMap;

constexpr int kMethods = 1000;
constexpr int kMostMethods = 4096;

enum class GenericServices { kOff, kOn };

CodeGeneratorRequest ReadRequest() {
  const char* path = std::getenv("QARN_RPC_REQUEST");
  CodeGeneratorRequest request;
  std::ifstream file(path == nullptr ? "" : path, std::ios::binary);
  if (!request.ParseFromIstream(&file) || request.proto_file_size() == 0 ||
      request.proto_file().rbegin()->service_size() != 1 ||
      request.proto_file().rbegin()->service(0).method_size() < kMostMethods) {
    std::cerr
        << "set QARN_RPC_REQUEST to the file of a request for a service of "
        << kMostMethods << " methods or more\n";
    std::exit(1);
  }
  return request;
}

// The last file of the request, cut to its first `methods` methods. It lives as
// long as `pool`, which may hold but one file of this kind.
const FileDescriptor* BuildWideFile(int methods,
                                    GenericServices generic_services,
                                    DescriptorPool* pool) {
  static const CodeGeneratorRequest request = ReadRequest();
  const int imported = request.proto_file_size() - 1;
  for (int i = 0; i < imported; ++i) {
    pool->BuildFile(request.proto_file(i));
  }
  google::protobuf::FileDescriptorProto file = request.proto_file(imported);
  auto* all = file.mutable_service(0)->mutable_method();
  all->DeleteSubrange(methods, all->size() - methods);
  file.mutable_options()->set_cc_generic_services(generic_services ==
                                                  GenericServices::kOn);
  const FileDescriptor* built = pool->BuildFile(file);
  if (built == nullptr) {
    std::cerr << "protobuf refused the file of the benchmark\n";
    std::exit(1);
  }
  return built;
}

// Keeps what a generator writes.
class InMemoryFiles : public google::protobuf::compiler::GeneratorContext {
 public:
  ZeroCopyOutputStream* Open(const std::string& name) override {
    return new google::protobuf::io::StringOutputStream(&texts_[name]);
  }

  // Insertion points are names like others: what is put there counts too.
  ZeroCopyOutputStream* OpenForInsert(const std::string& name,
                                      const std::string& point) override {
    return Open(name + "@" + point);
  }

  // The size of all files together.
  std::size_t bytes() const {
    std::size_t sum = 0;
    for (const auto& [name, text] : texts_) {
      sum += text.size();
    }
    return sum;
  }

  // The text of all files, one behind the other.
  std::string text() const {
    std::string joined;
    for (const auto& [name, text] : texts_) {
      joined += text;
    }
    return joined;
  }

 private:
  std::map<std::string, std::string> texts_;
};

// The file of the benchmarks that do not vary the number of methods.
const FileDescriptor* WideFile() {
  static DescriptorPool pool;
  static const FileDescriptor* file =
      BuildWideFile(kMethods, GenericServices::kOff, &pool);
  return file;
}

void CountBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) *
                          static_cast<std::int64_t>(state.iterations()));
}

void BM_SetMethodVars(benchmark::State& state) {
  const auto* service = WideFile()->service(0);
  VariableMap vars;
  qarn::rpc::SetHeaderFileVars(WideFile(), {}, &vars);
  vars[qarn::rpc::keys::kService] = service->name();
  int index = 0;
  for (auto _ : state) {
    qarn::rpc::SetMethodVars(service->method(index), vars);
    index = (index + 1) % kMethods;
  }
}
BENCHMARK(BM_SetMethodVars);

// The sections.

using SectionBuilder = std::string (*)(const FileDescriptor*,
                                       const qarn::rpc::Parameters&);

void BM_Section(benchmark::State& state, SectionBuilder build) {
  const FileDescriptor* file = WideFile();
  const qarn::rpc::Parameters parameters;
  for (auto _ : state) {
    benchmark::DoNotOptimize(build(file, parameters));
  }
  CountBytes(state, build(file, parameters).size());
}
BENCHMARK_CAPTURE(BM_Section, header_services, qarn::rpc::GetHeaderServices);
BENCHMARK_CAPTURE(BM_Section, source_services, qarn::rpc::GetSourceServices);

// Whole files.

void RunGenerator(benchmark::State& state, const CodeGenerator& generator,
                  const FileDescriptor* file) {
  std::size_t bytes = 0;
  for (auto _ : state) {
    InMemoryFiles files;
    std::string error;
    if (!generator.Generate(file, "", &files, &error)) {
      state.SkipWithError(error.c_str());
      break;
    }
    bytes = files.bytes();
  }
  CountBytes(state, bytes);
}

void BM_Generate(benchmark::State& state) {
  DescriptorPool pool;
  const auto methods = static_cast<int>(state.range(0));
  RunGenerator(state, CppGenerator(),
               BuildWideFile(methods, GenericServices::kOff, &pool));
}
BENCHMARK(BM_Generate)->RangeMultiplier(4)->Range(1, kMostMethods);
BENCHMARK(BM_Generate)->Arg(kMethods);

#ifdef QARN_RPC_HAS_LIBPROTOC_GENERATOR
// The same methods, through the generator that comes with protoc. It writes the
// message classes and the generic services, which is why it gets a copy of the
// descriptors that asks for those.
void BM_LibprotocGenerate(benchmark::State& state) {
  DescriptorPool pool;
  RunGenerator(state, google::protobuf::compiler::cpp::CppGenerator(),
               BuildWideFile(kMethods, GenericServices::kOn, &pool));
}
BENCHMARK(BM_LibprotocGenerate);
#endif

// Protobuf's printer alone. The texts of a file with four methods, one of each
// kind, become templates in which the names that vary are variables again; they
// are printed with a map that is filled once. All of the generator's text goes
// through the printer, so this is the bound for the generator.
void BM_PrinterAlone(benchmark::State& state) {
  DescriptorPool pool;
  InMemoryFiles files;
  std::string error;
  CppGenerator().Generate(BuildWideFile(4, GenericServices::kOff, &pool), "",
                          &files, &error);
  std::string text = files.text();
  VariableMap vars = {{"Service", "Archive"}};
  boost::algorithm::replace_all(text, "Archive", "$Service$");
  // Those whose names begin with another's come before it.
  for (const int message : {22, 15, 8, 3, 2, 1, 0}) {
    const std::string name = "Record" + std::to_string(message);
    const std::string key = "Message" + std::to_string(message);
    vars[key] = "::bench::growth::" + name;
    boost::algorithm::replace_all(text, vars[key], "$" + key + "$");
  }
  for (const char* method : {"Fetch0", "Fetch1", "Fetch2", "Fetch3"}) {
    vars[std::string("Method") + method] = method;
    boost::algorithm::replace_all(text, method,
                                  std::string("$Method") + method + "$");
  }
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::string printed;
    {
      google::protobuf::io::StringOutputStream stream(&printed);
      google::protobuf::io::Printer printer(&stream, '$');
      for (int i = 0; i < kMethods / 4; ++i) {
        printer.Print(vars, text.c_str());
      }
    }
    bytes = printed.size();
    benchmark::DoNotOptimize(printed);
  }
  CountBytes(state, bytes);
}
BENCHMARK(BM_PrinterAlone);

}  // namespace

BENCHMARK_MAIN();
