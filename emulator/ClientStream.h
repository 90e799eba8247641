#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>

#include <optional>
#include <utility>

namespace VarnelBase::Emulation {

// NOLINTBEGIN(readability-identifier-naming): the names that Asio asks for

/// A client's connection in clear or through TLS, as Asio's and Beast's functions want it.
struct ClientStream {
    using Tcp = boost::asio::ip::tcp;
    using executor_type = boost::asio::io_context::executor_type;
    using Socket = boost::asio::basic_stream_socket<Tcp, executor_type>;

    /// @param accepted closed at the end
    /// @param context  null: no TLS
    ClientStream(boost::asio::io_context& loop, int accepted, boost::asio::ssl::context* context)
        : socket(loop.get_executor(), Tcp::v4(), accepted) {
        if (context != nullptr) { tls.emplace(socket, *context); }
    }

    executor_type get_executor() { return socket.get_executor(); }

    template <class Buffers, class Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        Use([&](auto& layer) { layer.async_read_some(buffers, std::forward<Handler>(handler)); });
    }

    template <class Buffers, class Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        Use([&](auto& layer) { layer.async_write_some(buffers, std::forward<Handler>(handler)); });
    }

    Socket socket;
    std::optional<boost::asio::ssl::stream<Socket&>> tls;

private:
    template <class Work>
    void Use(Work work) {
        if (tls) {
            work(*tls);
        } else {
            work(socket);
        }
    }
};

// NOLINTEND(readability-identifier-naming)

} // namespace VarnelBase::Emulation
