// Part of the example runtime (see qarn/rpc/websocket.h): what it uses of
// Boost.Beast and Boost.Asio. They take seconds to compile, so only
// websocket.cc includes it.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_BOOST_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_BOOST_H_

#ifdef __linux__
#include <netinet/tcp.h>
#endif

#include <algorithm>
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>

#include "qarn/rpc/websocket.h"

namespace qarn::rpc::websocket {

namespace net = boost::asio;
namespace http = boost::beast::http;
using boost::beast::bind_front_handler;
using boost::beast::websocket::close_code;
using boost::beast::websocket::stream_base;
using tcp = net::ip::tcp;
using Error = boost::system::error_code;
using Clock = std::chrono::steady_clock;
using Request = http::request<http::empty_body>;

// `wait` from now, at least nothing and at most ten years: the clock has that.
inline Clock::time_point After(std::chrono::milliseconds wait) {
  using std::chrono::hours;
  return Clock::now() + std::clamp<std::chrono::milliseconds>(wait, hours(0),
                                                              hours(24 * 3650));
}

// Has TCP ask whether the other side is there, and send what is small at once.
inline void AskWhetherThere(const Limits& limits, tcp::socket* socket) {
  Error ignored;
  socket->set_option(tcp::no_delay(true), ignored);
  socket->set_option(net::socket_base::keep_alive(true), ignored);
#ifdef TCP_KEEPIDLE
  using net::detail::socket_option::integer;
  using Idle = integer<IPPROTO_TCP, TCP_KEEPIDLE>;
  using Interval = integer<IPPROTO_TCP, TCP_KEEPINTVL>;
  using Count = integer<IPPROTO_TCP, TCP_KEEPCNT>;
  socket->set_option(Idle(limits.ping_seconds), ignored);
  socket->set_option(Interval(limits.ping_seconds), ignored);
  socket->set_option(Count(limits.unanswered_pings), ignored);
#endif
}

// Whether the other side has been silent for as long while data was under way,
// which is when TCP sends that again in place of asking. One that has no room
// answers.
inline bool HasVanished(const Limits& limits, tcp::socket* socket) {
#ifdef __linux__
  tcp_info info = {};
  socklen_t size = sizeof info;
  if (getsockopt(socket->native_handle(), IPPROTO_TCP, TCP_INFO, &info,
                 &size) != 0) {
    return false;
  }
  const std::chrono::milliseconds silent(info.tcpi_last_ack_recv);
  return silent > std::chrono::seconds(limits.ping_seconds) *
                      (1 + limits.unanswered_pings) &&
         (info.tcpi_retransmits >= 2 || info.tcpi_probes >= 2);
#else
  static_cast<void>(limits);
  static_cast<void>(socket);
  return false;
#endif
}

}  // namespace qarn::rpc::websocket

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_BOOST_H_
