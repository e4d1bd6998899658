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

// Of a message or an enum, which may be nested in a message.
template <typename Element>
Place OfType(const Element* type, int number_in_file, int number_in_message) {
  const Descriptor* parent = type->containing_type();
  return Named(
      parent == nullptr
          ? Inside(PlaceOfFile(type->file()), number_in_file, type->index())
          : Inside(PlaceOf(parent), number_in_message, type->index()),
      type);
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
  return OfType(message, FileDescriptorProto::kMessageTypeFieldNumber,
                DescriptorProto::kNestedTypeFieldNumber);
}

Place PlaceOf(const EnumDescriptor* enumeration) {
  return OfType(enumeration, FileDescriptorProto::kEnumTypeFieldNumber,
                DescriptorProto::kEnumTypeFieldNumber);
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
