// Part of the example runtime (see qarn/rpc/websocket.h): what it uses of
// Boost.Beast and Boost.Asio. They take seconds to compile, so only
// websocket.cc includes it.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_BOOST_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_BOOST_H_

#include <algorithm>
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>

#include "qarn/rpc/websocket.h"

namespace qarn {
namespace rpc {
namespace websocket {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
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

}  // namespace websocket
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_BOOST_H_
