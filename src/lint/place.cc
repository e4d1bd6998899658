#include "lint/place.h"

#include <google/protobuf/descriptor.pb.h>

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorProto;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumDescriptorProto;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::MethodDescriptor;
using google::protobuf::MethodDescriptorProto;
using google::protobuf::ServiceDescriptor;
using google::protobuf::ServiceDescriptorProto;

namespace {

// `place` with the path to an element in it.
Place Inside(Place place, int number, int index) {
  place.path.push_back(number);
  place.path.push_back(index);
  return place;
}

template <typename Element>
Place Named(Place place, const Element* element) {
  place.name = std::string(element->full_name());
  return place;
}

}  // namespace

Place PlaceOf(const ServiceDescriptor* service) {
  return Named(
      Inside(PlaceOfFile(service->file()),
             FileDescriptorProto::kServiceFieldNumber, service->index()),
      service);
}

Place PlaceOf(const MethodDescriptor* method) {
  return Named(
      Inside(PlaceOf(method->service()),
             ServiceDescriptorProto::kMethodFieldNumber, method->index()),
      method);
}

Place PlaceOf(const Descriptor* message) {
  Place place = PlaceOfFile(message->file());
  // From the outermost message to this one.
  std::vector<const Descriptor*> chain;
  for (const Descriptor* outer = message; outer != nullptr;
       outer = outer->containing_type()) {
    chain.insert(chain.begin(), outer);
  }
  int number = FileDescriptorProto::kMessageTypeFieldNumber;
  for (const Descriptor* outer : chain) {
    place = Inside(place, number, outer->index());
    number = DescriptorProto::kNestedTypeFieldNumber;
  }
  return Named(place, message);
}

Place PlaceOf(const EnumDescriptor* enumeration) {
  const Descriptor* parent = enumeration->containing_type();
  return Named(
      parent == nullptr
          ? Inside(PlaceOfFile(enumeration->file()),
                   FileDescriptorProto::kEnumTypeFieldNumber,
                   enumeration->index())
          : Inside(PlaceOf(parent), DescriptorProto::kEnumTypeFieldNumber,
                   enumeration->index()),
      enumeration);
}

Place PlaceOf(const EnumValueDescriptor* value) {
  return Named(Inside(PlaceOf(value->type()),
                      EnumDescriptorProto::kValueFieldNumber, value->index()),
               value);
}

Place PlaceOf(const FieldDescriptor* field) {
  if (!field->is_extension()) {
    return Named(Inside(PlaceOf(field->containing_type()),
                        DescriptorProto::kFieldFieldNumber, field->index()),
                 field);
  }
  const Descriptor* scope = field->extension_scope();
  return Named(
      scope == nullptr
          ? Inside(PlaceOfFile(field->file()),
                   FileDescriptorProto::kExtensionFieldNumber, field->index())
          : Inside(PlaceOf(scope), DescriptorProto::kExtensionFieldNumber,
                   field->index()),
      field);
}

Place PlaceOfFile(const FileDescriptor* file) {
  Place place;
  place.file = file;
  return place;
}

Place PlaceOfPackage(const FileDescriptor* file) {
  Place place = PlaceOfFile(file);
  place.name = std::string(file->package());
  if (!place.name.empty()) {
    place.path.push_back(FileDescriptorProto::kPackageFieldNumber);
  }
  return place;
}

Place PlaceOfImport(const FileDescriptor* file, int index) {
  Place place = Inside(PlaceOfFile(file),
                       FileDescriptorProto::kDependencyFieldNumber, index);
  place.name = std::string(file->dependency(index)->name());
  return place;
}

Place PlaceOfOption(const FileDescriptor* file, int number) {
  return Inside(PlaceOfFile(file), FileDescriptorProto::kOptionsFieldNumber,
                number);
}

Place PlaceOfOption(const MethodDescriptor* method, int number) {
  return Inside(PlaceOf(method), MethodDescriptorProto::kOptionsFieldNumber,
                number);
}

Place PlaceOfParameter(const std::string& parameter) {
  Place place;
  place.name = parameter;
  return place;
}

}  // namespace rpc
}  // namespace qarn
