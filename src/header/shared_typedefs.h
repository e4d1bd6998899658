// The typedefs in BASE.rpc.h that methods share: a nested class declares one
// for each message type, however many methods use the type.
//
// Each printer sets the variables of its method in the map, prints a typedef
// only if the set lacks the key of its message type, and then inserts the key.
// The caller owns the set and empties it for each class and kind of typedef.

#ifndef QARN_RPC_HEADER_SHARED_TYPEDEFS_H_
#define QARN_RPC_HEADER_SHARED_TYPEDEFS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include <boost/unordered_set.hpp>
#include <string>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// For Stub: the observer of the method's responses. The key is the class name
// without its namespace, so of two messages of one name in different packages
// only the first gets a typedef.
void PrintHeaderClientMethodCallObserverTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars,
    boost::unordered_set<std::string>& printed);

// For Service: the request and the response under their names without
// namespace. The key is the qualified class name, so messages of one name in
// different packages each get a typedef, though the two clash.
void PrintHeaderServerMethodMessagesTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars,
    boost::unordered_set<std::string>& printed);

// For Service: the pointer to an observer of the method's requests, if the
// client streams. The key is the class name without its namespace.
void PrintHeaderServerMethodCallObserverTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars,
    boost::unordered_set<std::string>& printed);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_SHARED_TYPEDEFS_H_
