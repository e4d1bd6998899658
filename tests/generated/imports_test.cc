// Two generated files, one importing the other, in one program: messages of the
// one in the service of the other, a nested one among them.
#include <gtest/gtest.h>

#include <boost/shared_ptr.hpp>
#include <list>
#include <type_traits>

#include "depot/parcel.rpc.h"
#include "depot/shipment.rpc.h"
#include "qarn/rpc.h"
#include "recorder.h"
#include "ways.h"

namespace {

using ::lab::depot::Parcel;
using ::lab::depot::Parcel_Label;
using ::lab::depot::api::Depot;
using ::lab::shipment::Receipt;
using ::lab::shipment::api::Shipping;

// A nested message keeps the underscore of its C++ class in all names.
static_assert(std::is_same<Shipping::Stub::Parcel_LabelCallObserverPtr,
                           ::qarn::rpc::CallObserver<Parcel::Label>>::value,
              "");
static_assert(
    std::is_same<Shipping::Service::Parcel_Label, Parcel::Label>::value, "");

class DepotServer : public Depot::Service {
 public:
  void Weigh(qarn::rpc::CallContext*, const Parcel& request,
             const WeighCallHandle& handle) override {
    Parcel weighed = request;
    weighed.set_grams(250);
    handle->Send(weighed);
    handle->Close();
  }
};

class ShippingServer : public Shipping::Service {
 public:
  void Print(qarn::rpc::CallContext*, const Parcel& request,
             const PrintCallHandle& handle) override {
    handle->Send(request.label());
    handle->Close();
  }

  ParcelCallObserverPtr Ship(qarn::rpc::CallContext*,
                             const ShipCallHandle& handle) override {
    return new Counter(handle);
  }

 private:
  class Counter : public qarn::rpc::CallObserver<Parcel> {
   public:
    explicit Counter(ShipCallHandle handle) : handle_(std::move(handle)) {}
    void OnMessage(const Parcel&) override {
      receipt_.set_parcels(receipt_.parcels() + 1);
    }
    void OnEnd(const qarn::rpc::Status& status) override {
      handle_->Send(receipt_);
      handle_->Close(status);
    }

   private:
    ShipCallHandle handle_;
    Receipt receipt_;
  };
};

class ImportsTest : public ::testing::TestWithParam<Way> {};

INSTANTIATE_TEST_SUITE_P(Ways, ImportsTest,
                         ::testing::Values(Way::kLocal, Way::kWebSocket),
                         WayName);

TEST_P(ImportsTest, ServicesOfBothFilesWorkInOneProgram) {
  DepotServer depot;
  ShippingServer shipping;
  Reach reach(GetParam());
  ASSERT_TRUE(reach.Register(depot.service()));
  ASSERT_TRUE(reach.Register(shipping.service()));
  const qarn::rpc::ClientContext context("me");
  Depot::Stub depot_stub("client", "endpoint", context, reach.channel());
  Shipping::Stub shipping_stub("client", "endpoint", context, reach.channel());

  Parcel parcel;
  parcel.mutable_label()->set_address("Main Street 1");
  Recorder<Parcel> weighed;
  depot_stub.Weigh(parcel, &weighed);
  EXPECT_TRUE(weighed.succeeded());
  ASSERT_EQ(weighed.messages.size(), 1u);
  EXPECT_EQ(weighed.messages[0].grams(), 250);

  Recorder<Parcel_Label> printed;
  shipping_stub.Print(weighed.messages[0], &printed);
  EXPECT_TRUE(printed.succeeded());
  ASSERT_EQ(printed.messages.size(), 1u);
  EXPECT_EQ(printed.messages[0].address(), "Main Street 1");

  Recorder<Receipt> shipped;
  shipping_stub.Ship(std::list<Parcel>(3, parcel), &shipped);
  EXPECT_TRUE(shipped.succeeded());
  ASSERT_EQ(shipped.messages.size(), 1u);
  EXPECT_EQ(shipped.messages[0].parcels(), 3);
}

}  // namespace
