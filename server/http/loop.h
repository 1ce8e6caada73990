// What runs on the thread of the connections.
#pragma once

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <chrono>

namespace kivolo::server::http {

namespace asio = boost::asio;
using boost::system::error_code;

// Of this one kind of executor, and not of any: each costs less time and less memory.
using Executor = asio::io_context::executor_type;
template<typename Result>
using Awaitable = asio::awaitable<Result, Executor>;
using Socket = asio::basic_stream_socket<asio::generic::stream_protocol, Executor>;
using Acceptor = asio::basic_socket_acceptor<asio::generic::stream_protocol, Executor>;
using Timer = asio::basic_waitable_timer<std::chrono::steady_clock,
                                         asio::wait_traits<std::chrono::steady_clock>, Executor>;

constexpr asio::use_awaitable_t<Executor> awaited;
constexpr auto awaitedWithError = asio::as_tuple(awaited);

} // namespace kivolo::server::http
