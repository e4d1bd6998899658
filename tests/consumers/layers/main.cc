// Lists the methods of both services with the kind that the options schema
// gives them, and makes a client of each.
#include <google/protobuf/descriptor.h>

#include <boost/shared_ptr.hpp>
#include <iostream>
#include <string>

#include "morvane/qarn/rpc/service_options.pb.h"
#include "qarn/rpc.h"
#include "shop/order/v1/order.pb.h"
#include "shop/order/v1/order.rpc.h"
#include "shop/stock/v1/stock.pb.h"
#include "shop/stock/v1/stock.rpc.h"

namespace {

void PrintMethods(const google::protobuf::FileDescriptor* file,
                  const std::string& service_name) {
  const google::protobuf::ServiceDescriptor* service =
      file->pool()->FindServiceByName(service_name);
  std::cout << service->full_name() << "\n";
  for (int i = 0; i < service->method_count(); ++i) {
    const google::protobuf::MethodOptions& options =
        service->method(i)->options();
    std::cout << "  " << service->method(i)->name();
    if (options.GetExtension(morvane::qarn::rpc::client_streaming)) {
      std::cout << ", the client streams";
    }
    if (options.GetExtension(morvane::qarn::rpc::server_streaming)) {
      std::cout << ", the server streams";
    }
    std::cout << "\n";
  }
}

}  // namespace

int main() {
  using shop::order::v1::shop_api::v1::Orders;
  using shop::stock::v1::Stock;
  PrintMethods(shop::stock::v1::Level::descriptor()->file(),
               Stock::full_name());
  PrintMethods(shop::order::v1::Receipt::descriptor()->file(),
               Orders::full_name());

  const boost::shared_ptr<qarn_rpc::LocalChannel> channel(
      new qarn_rpc::LocalChannel);
  const qarn_rpc::ClientContext context("a friend");
  const Stock::Stub stock("shop", "in-process", context, channel);
  const Orders::Stub orders("shop", "in-process", context, channel);
  return 0;
}
