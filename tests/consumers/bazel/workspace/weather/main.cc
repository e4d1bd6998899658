// A server and a client of both packages' services in one program: one call of
// each kind, what came back, and exit code 0.
#include <boost/shared_ptr.hpp>
#include <iostream>
#include <string>
#include <vector>

#include "qarn/rpc.h"
#include "stations/station.pb.h"
#include "stations/station.rpc.h"
#include "weather/weather.pb.h"
#include "weather/weather.rpc.h"

// services_namespace = "api" is that of the weather package alone.
using demo::stations::Registry;
using demo::stations::Station;
using demo::weather::Reading;
using demo::weather::api::Weather;

namespace {

Station MakeStation(const std::string& name) {
  Station station;
  station.set_name(name);
  return station;
}

Reading MakeReading(const Station& station, int celsius) {
  Reading reading;
  *reading.mutable_station() = station;
  reading.set_celsius(celsius);
  return reading;
}

class RegistryServer : public Registry::Service {
 public:
  void Enter(qarn_rpc::CallContext*, const Station& request,
             const EnterCallHandle& handle) override {
    handle->Send(request);
    handle->Close();
  }
};

// Answers one Report call, when the client is done, with its highest reading.
class Reporter : public qarn_rpc::CallObserver<Reading> {
 public:
  explicit Reporter(const Weather::Service::ReportCallHandle& handle)
      : handle_(handle) {}

  void OnMessage(const Reading& reading) override {
    if (!highest_.has_celsius() || reading.celsius() > highest_.celsius()) {
      highest_ = reading;
    }
  }

  void OnEnd(const qarn_rpc::Status& status) override {
    handle_->Send(highest_);
    handle_->Close(status);
  }

 private:
  const Weather::Service::ReportCallHandle handle_;
  Reading highest_;
};

// Sends each reading of one Check call back at once.
class Checker : public qarn_rpc::CallObserver<Reading> {
 public:
  explicit Checker(const Weather::Service::CheckCallHandle& handle)
      : handle_(handle) {}

  void OnMessage(const Reading& reading) override { handle_->Send(reading); }

  void OnEnd(const qarn_rpc::Status& status) override {
    handle_->Close(status);
  }

 private:
  const Weather::Service::CheckCallHandle handle_;
};

class WeatherServer : public Weather::Service {
 public:
  void Latest(qarn_rpc::CallContext*, const Station& request,
              const LatestCallHandle& handle) override {
    handle->Send(MakeReading(request, 3));
    handle->Close();
  }

  void History(qarn_rpc::CallContext*, const Station& request,
               const HistoryCallHandle& handle) override {
    for (int celsius : {1, 2, 3}) handle->Send(MakeReading(request, celsius));
    handle->Close();
  }

  ReadingCallObserverPtr Report(qarn_rpc::CallContext*,
                                const ReportCallHandle& handle) override {
    return new Reporter(handle);
  }

  ReadingCallObserverPtr Check(qarn_rpc::CallContext*,
                               const CheckCallHandle& handle) override {
    return new Checker(handle);
  }
};

class StationPrinter : public Registry::Stub::StationCallObserverPtr {
 public:
  void OnMessage(const Station& station) override {
    std::cout << "station " << station.name() << "\n";
  }
  void OnEnd(const qarn_rpc::Status&) override {}
};

class ReadingPrinter : public Weather::Stub::ReadingCallObserverPtr {
 public:
  explicit ReadingPrinter(const std::string& method) : method_(method) {}

  void OnMessage(const Reading& reading) override {
    std::cout << method_ << " " << reading.station().name() << " "
              << reading.celsius() << "\n";
  }
  void OnEnd(const qarn_rpc::Status& status) override {
    std::cout << method_ << (status.ok() ? " done" : " failed") << "\n";
  }

 private:
  const std::string method_;
};

}  // namespace

int main() {
  RegistryServer registry_server;
  WeatherServer weather_server;
  const boost::shared_ptr<qarn_rpc::LocalChannel> channel(
      new qarn_rpc::LocalChannel);
  if (!channel->Register(registry_server.service()) ||
      !channel->Register(weather_server.service())) {
    return 1;
  }
  const qarn_rpc::ClientContext context("example");
  Registry::Stub registry("example", "in-process", context, channel);
  Weather::Stub weather("example", "in-process", context, channel);

  StationPrinter entered;
  registry.Enter(MakeStation("Zermatt"), &entered);

  const Station station = MakeStation("Zermatt");
  ReadingPrinter latest("Latest");
  weather.Latest(station, &latest);
  ReadingPrinter history("History");
  weather.History(station, &history);
  ReadingPrinter report("Report");
  const std::vector<Reading> readings = {MakeReading(station, 4),
                                         MakeReading(station, 9)};
  weather.Report(readings, &report);
  ReadingPrinter check("Check");
  const Weather::CheckClientCallPtr call = weather.Check(&check);
  call->Send(MakeReading(station, 5));
  call->Close();
  return 0;
}
