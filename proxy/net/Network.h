#pragma once

#include <boost/asio/ip/network_v6.hpp>
#include <string>

namespace MuxProxy {

// What counts as one peer: an IPv4 address as it is, and of an IPv6 address its first 64 bits, since who has one has
// 2^64 of them. Any thread.
inline std::string NetworkOf(const std::string& address) {
    boost::system::error_code error;
    const boost::asio::ip::address_v6 read = boost::asio::ip::make_address_v6(address, error);
    return error ? address : boost::asio::ip::make_network_v6(read, 64).canonical().to_string();
}

}  // namespace MuxProxy
