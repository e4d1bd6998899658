#include "robustness/fuzz/places.h"

#include <google/protobuf/descriptor.pb.h>

#include <cctype>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <set>
#include <sstream>
#include <utility>

#include "robustness/fuzz/text_checks.h"

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

namespace pb = google::protobuf;

// The letters of the kinds in markers: "ZqS3z" is the service with number 3.
enum Kind : char {
  kFile = 'F',
  kPackage = 'P',
  kService = 'S',
  kMethod = 'D',
  kMessage = 'M',
  kNamespace = 'N',
  kForeign = 'X',
};

class Marker {
 public:
  explicit Marker(pb::compiler::CodeGeneratorRequest* request)
      : request_(request) {}

  // False if the request has a reference that cannot be followed.
  bool Run() {
    for (pb::FileDescriptorProto& file : *request_->mutable_proto_file()) {
      Declare(&file);
    }
    for (pb::FileDescriptorProto& file : *request_->mutable_proto_file()) {
      Follow(&file);
    }
    for (std::string& name : *request_->mutable_file_to_generate()) {
      name = FileName(name);
    }
    if (!ServicesNamespace(request_->parameter()).empty() &&
        ParameterError(request_->parameter()).empty()) {
      request_->set_parameter("services_namespace=" + Mark(kNamespace, ""));
    }
    return follows_;
  }

 private:
  // The marker of a name: the same for each occurrence.
  std::string Mark(Kind kind, const std::string& name) {
    const auto number = numbers_.emplace(std::make_pair(kind, name),
                                         static_cast<int>(numbers_.size()));
    return std::string("Zq") + static_cast<char>(kind) +
           std::to_string(number.first->second) + "z";
  }

  // What decides about the base name stays.
  std::string FileName(const std::string& name) {
    const std::string suffix = name.substr(BaseName(name).size());
    return Mark(kFile, name) + suffix;
  }

  std::string Package(const std::string& package) {
    std::string marked;
    std::istringstream parts(package);
    for (std::string part; std::getline(parts, part, '.');) {
      marked += (marked.empty() ? "" : ".") + Mark(kPackage, part);
    }
    return marked;
  }

  void MarkForeign(std::string* name) { *name = Mark(kForeign, *name); }

  // Marks what a file declares and notes the new names of its types.
  void Declare(pb::FileDescriptorProto* file) {
    const std::string scope = "." + file->package();
    const std::string new_scope = "." + Package(file->package());
    for (pb::DescriptorProto& message : *file->mutable_message_type()) {
      Declare(scope, new_scope, &message);
    }
    for (pb::EnumDescriptorProto& enumeration : *file->mutable_enum_type()) {
      Declare(scope, new_scope, &enumeration);
    }
    for (pb::FieldDescriptorProto& field : *file->mutable_extension()) {
      MarkForeign(field.mutable_name());
    }
    for (pb::ServiceDescriptorProto& service : *file->mutable_service()) {
      service.set_name(Mark(kService, service.name()));
      for (pb::MethodDescriptorProto& method : *service.mutable_method()) {
        method.set_name(Mark(kMethod, method.name()));
      }
    }
    file->set_name(FileName(file->name()));
    for (std::string& name : *file->mutable_dependency()) {
      name = FileName(name);
    }
    file->set_package(Package(file->package()));
    file->mutable_options()->set_java_package(Mark(kForeign, "java"));
    file->mutable_options()->set_go_package(Mark(kForeign, "go"));
    auto* comment = file->mutable_source_code_info()->add_location();
    comment->add_span(0);
    comment->add_span(0);
    comment->add_span(0);
    comment->set_leading_comments(Mark(kForeign, "leading"));
    comment->set_trailing_comments(Mark(kForeign, "trailing"));
    comment->add_leading_detached_comments(Mark(kForeign, "detached"));
  }

  static std::string Join(const std::string& scope, const std::string& name) {
    return scope == "." ? "." + name : scope + "." + name;
  }

  void Declare(const std::string& scope, const std::string& new_scope,
               pb::EnumDescriptorProto* enumeration) {
    const std::string name = enumeration->name();
    MarkForeign(enumeration->mutable_name());
    types_[Join(scope, name)] = Join(new_scope, enumeration->name());
    for (pb::EnumValueDescriptorProto& value : *enumeration->mutable_value()) {
      MarkForeign(value.mutable_name());
    }
    for (std::string& reserved : *enumeration->mutable_reserved_name()) {
      MarkForeign(&reserved);
    }
  }

  // The names of a map's field and of its entry depend on each other, and stay.
  void Declare(const std::string& scope, const std::string& new_scope,
               pb::DescriptorProto* message) {
    const std::string name = Join(scope, message->name());
    if (!message->options().map_entry()) {
      message->set_name(Mark(kMessage, message->name()));
    }
    const std::string new_name = Join(new_scope, message->name());
    types_[name] = new_name;
    std::set<std::string> entries;
    for (pb::DescriptorProto& nested : *message->mutable_nested_type()) {
      if (nested.options().map_entry()) {
        entries.insert(Join(name, nested.name()));
        entries_.insert(Join(name, nested.name()));
      }
      Declare(name, new_name, &nested);
    }
    for (pb::EnumDescriptorProto& enumeration : *message->mutable_enum_type()) {
      Declare(name, new_name, &enumeration);
    }
    for (pb::FieldDescriptorProto& field : *message->mutable_field()) {
      if (!message->options().map_entry() &&
          entries.count(field.type_name()) == 0) {
        MarkForeign(field.mutable_name());
      }
      field.clear_json_name();
    }
    for (pb::FieldDescriptorProto& field : *message->mutable_extension()) {
      MarkForeign(field.mutable_name());
    }
    for (pb::OneofDescriptorProto& oneof : *message->mutable_oneof_decl()) {
      MarkForeign(oneof.mutable_name());
    }
    for (std::string& reserved : *message->mutable_reserved_name()) {
      MarkForeign(&reserved);
    }
  }

  // Gives references the names that their types have now.
  void Follow(pb::FileDescriptorProto* file) {
    for (pb::DescriptorProto& message : *file->mutable_message_type()) {
      Follow(&message);
    }
    for (pb::FieldDescriptorProto& field : *file->mutable_extension()) {
      Follow(&field);
    }
    for (pb::ServiceDescriptorProto& service : *file->mutable_service()) {
      for (pb::MethodDescriptorProto& method : *service.mutable_method()) {
        for (std::string* type :
             {method.mutable_input_type(), method.mutable_output_type()}) {
          follows_ = follows_ && entries_.count(*type) == 0;
          Follow(type);
        }
      }
    }
  }

  void Follow(pb::DescriptorProto* message) {
    for (pb::DescriptorProto& nested : *message->mutable_nested_type()) {
      Follow(&nested);
    }
    for (pb::FieldDescriptorProto& field : *message->mutable_field()) {
      Follow(&field);
    }
    for (pb::FieldDescriptorProto& field : *message->mutable_extension()) {
      Follow(&field);
    }
  }

  void Follow(pb::FieldDescriptorProto* field) {
    if (field->has_type_name()) {
      Follow(field->mutable_type_name());
      if (field->type() == pb::FieldDescriptorProto::TYPE_ENUM &&
          field->has_default_value()) {
        MarkForeign(field->mutable_default_value());
      }
    }
    if (field->has_extendee()) {
      Follow(field->mutable_extendee());
    }
  }

  void Follow(std::string* reference) {
    const auto type = types_.find(*reference);
    if (type == types_.end()) {
      follows_ = false;
    } else {
      *reference = type->second;
    }
  }

  pb::compiler::CodeGeneratorRequest* const request_;
  std::map<std::pair<Kind, std::string>, int> numbers_;
  std::map<std::string, std::string> types_;  // From old to new full names.
  std::set<std::string> entries_;             // Of maps, by their old names.
  bool follows_ = true;
};

void ReplaceAll(const std::string& from, const std::string& to,
                std::string* text) {
  for (std::size_t at = text->find(from); at != std::string::npos;
       at = text->find(from, at)) {
    text->replace(at, from.size(), to);
  }
}

// The line with "<S>" for the marker of a service, and so on; "<SS>" where it
// is in upper case. What has any number of names of a kind has one: a package,
// a nested message. "<Q>" is a message with its namespaces.
std::string Shape(const std::string& line) {
  std::string shape;
  for (std::size_t at = 0; at < line.size();) {
    const bool is_lower = line.compare(at, 2, "Zq") == 0;
    if (!is_lower && line.compare(at, 2, "ZQ") != 0) {
      shape += line[at++];
      continue;
    }
    const std::string kind = line.substr(at + 2, 1);
    shape += is_lower ? "<" + kind + ">" : "<" + kind + kind + ">";
    at = line.find(is_lower ? 'z' : 'Z', at + 2);
    at = at == std::string::npos ? line.size() : at + 1;
  }
  ReplaceAll("<M>_<M>", "<M>", &shape);
  ReplaceAll("<P>::<P>", "<P>", &shape);
  ReplaceAll("<P>.<P>", "<P>", &shape);
  ReplaceAll("::<P>::<M>", "<Q>", &shape);
  ReplaceAll("::<M>", "<Q>", &shape);
  ReplaceAll("\"<P>.<S>", "\"<S>", &shape);
  ReplaceAll("<N>::<S>", "<S>", &shape);
  return shape;
}

// The lines that the templates give. Checked by hand: a line that a template
// gained by mistake must not come in here with it.
const std::set<std::string>& Shapes(bool is_header) {
  static const std::set<std::string> header = {
      "// Proudly generated by the QARN RPC protobuf plugin.",
      "// If you make any local change, they will be lost.",
      "// source: <F>",
      "// source: <F>.proto",
      "// source: <F>.protodevel",
      "#pragma once",
      "",
      "#include \"<F>.pb.h\"",
      "#include <boost/shared_ptr.hpp>",
      "#include <boost/intrusive_ptr.hpp>",
      "#include <boost/preprocessor.hpp>",
      "#include \"qarn/rpc.h\"",
      "namespace qarn { namespace rpc {",
      "// Forward declarations go here.",
      "} }  // namespace qarn::rpc",
      "namespace qarn_rpc = ::qarn::rpc;",
      "namespace <P> {",
      "#define <SS> <S>",
      "#define <SS>_METHOD_NAMES \\",
      "  (<D>) \\",
      "  (<D>)",
      "#define <SS>_METHODS \\",
      "  (<S>_<D>) \\",
      "  (<S>_<D>)",
      "#define <SS>_METHOD(NAME) \\",
      "  BOOST_PP_CAT(RPCTEST, BOOST_PP_CAT(_, NAME))",
      "enum <S>Method {",
      "  <S>_<D>,",
      "}; // enum <S>Method",
      "template <<S>Method>",
      "struct <S>Methods;",
      "template <>",
      "struct <S>Methods<<S>_<D>> {",
      "  static const char* name()      { return \"<D>\"; }",
      "  static const char* full_name() { return \"<S>/<D>\"; }",
      "  static const ::qarn::rpc::RpcMethodType rpc_type = "
      "::qarn::rpc::RMT_SIMPLE;",
      "  typedef <Q> request;",
      "  typedef <Q> response;",
      "};",
      "  static const ::qarn::rpc::RpcMethodType rpc_type = "
      "::qarn::rpc::RMT_CLIENT_STREAMING;",
      "  static const ::qarn::rpc::RpcMethodType rpc_type = "
      "::qarn::rpc::RMT_SERVER_STREAMING;",
      "  static const ::qarn::rpc::RpcMethodType rpc_type = "
      "::qarn::rpc::RMT_BIDI_STREAMING;",
      "class <S> {",
      " public:",
      "  typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< <Q>> > "
      "<D>ClientCallPtr;",
      "  typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< <Q>> > "
      "<D>ServerCallPtr;",
      "  static const char* package()   { return \"<P>\"; }",
      "  static const char* name()      { return \"<S>\"; }",
      "  static const char* full_name() { return \"<S>\"; }",
      "  class Stub : public ::qarn::rpc::StubBase {",
      "   public:",
      "    typedef <S> Service;",
      "    typedef ::qarn::rpc::CallObserver< <Q>> <M>CallObserverPtr;",
      "    Stub(const std::string& client_name,",
      "         const std::string& endpoint,",
      "         const ::qarn::rpc::ClientContext& context,",
      "         const boost::shared_ptr< ::qarn::rpc::Channel>&);",
      "    <D>ClientCallPtr",
      "    <D>(",
      "        const ::qarn::rpc::ClientContext& context,",
      "        const <Q>& request,",
      "        <M>CallObserverPtr* response_observer);",
      "    // This call will use Stub's context",
      "    <D>(const <Q>& request,",
      "    template<class Container>",
      "        const Container& requests,",
      "        <M>CallObserverPtr* response_observer) {",
      "      return ::qarn::rpc::client::AsyncBatchCall< ",
      "           <Q>,",
      "           Container >(",
      "         channel(), _rpcmethod_<D>, context, requests, "
      "response_observer);",
      "    }",
      "         channel(), _rpcmethod_<D>, context(), requests, "
      "response_observer);",
      "    static const ::qarn::rpc::RpcMethod _rpcmethod_<D>;",
      "  };",
      "  class Service : public ::qarn::rpc::ServiceBase {",
      "    Service() : _service(NULL) {}",
      "    virtual ~Service();",
      "    typedef <Q> <M>;",
      "    typedef ::qarn::rpc::CallObserver< <Q>>* <M>CallObserverPtr;",
      "    typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< <Q>> > "
      "<D>CallHandle;",
      "    virtual void <D>(",
      "        ::qarn::rpc::CallContext* context,",
      "        const <M>& request,",
      "        const <D>CallHandle& handle) = 0;",
      "    virtual <M>CallObserverPtr <D>(",
      "    virtual ::qarn::rpc::RpcService* service();",
      "   private:",
      "    ::qarn::rpc::RpcService* _service;",
      "}  // namespace <P>",
      "namespace <N> {",
      "}  // namespace <N>",
      "  static const char* package()   { return \"\"; }",
  };
  static const std::set<std::string> source = {
      "// Proudly generated by the QARN RPC protobuf plugin.",
      "// If you make any local change, they will be lost.",
      "// source: <F>",
      "// source: <F>.proto",
      "// source: <F>.protodevel",
      "",
      "#include \"<F>.pb.h\"",
      "#include \"<F>.rpc.h\"",
      "namespace <P> {",
      "const ::qarn::rpc::RpcMethod <S>::Stub::_rpcmethod_<D> =",
      "  ::qarn::rpc::make_rpc_method<<S>, <S>Methods<<S>_<D>> "
      ">(::qarn::rpc::CS_CLIENT);",
      "<S>::Stub::Stub(",
      "    const std::string& client_name,",
      "    const std::string& endpoint,",
      "    const ::qarn::rpc::ClientContext& context,",
      "    const boost::shared_ptr< ::qarn::rpc::Channel>& channel)",
      "  : ::qarn::rpc::StubBase(client_name, endpoint, context, channel)",
      "{}",
      "boost::intrusive_ptr< ::qarn::rpc::CallHandle< <Q> > >",
      "<S>::Stub::<D>(",
      "    const <Q>& request,",
      "    <M>CallObserverPtr* response_observer) {",
      "  return ::qarn::rpc::client::AsyncSimpleCall(",
      "      channel(), _rpcmethod_<D>, context(), request, "
      "response_observer);",
      "}",
      "      channel(), _rpcmethod_<D>, context, request, response_observer);",
      "  return ::qarn::rpc::client::AsyncStreamingCall<",
      "    <Q>,",
      "    <Q> >(",
      "      channel(), _rpcmethod_<D>, context(), response_observer);",
      "      channel(), _rpcmethod_<D>, context, response_observer);",
      "<S>::Service::~Service() {",
      "  delete _service;",
      "::qarn::rpc::RpcService* <S>::Service::service() {",
      "  if (_service) {",
      "    return _service;",
      "  }",
      "  _service = new ::qarn::rpc::RpcService(<S>::full_name());",
      "  _service->AddMethod(new ::qarn::rpc::RpcServiceMethodT<",
      "      <S>, <S>Methods<<S>_<D>> >(",
      "          this, &<S>::Service::<D>));",
      "  return _service;",
      "}  // namespace <P>",
  };
  return is_header ? header : source;
}

}  // namespace

std::optional<pb::compiler::CodeGeneratorRequest> MarkNames(
    pb::compiler::CodeGeneratorRequest request) {
  if (!Marker(&request).Run()) {
    return std::nullopt;
  }
  return request;
}

std::string LineOutOfPlace(const std::string& text, bool is_header) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::string shape = Shape(line);
    if (Shapes(is_header).count(shape) == 0) {
      return shape;
    }
  }
  return "";
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
