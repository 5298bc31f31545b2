// SPDX-License-Identifier: LGPL-2.1-or-later
#include "usbip/socket_address.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tavo::usbip {
namespace {

TEST(UsbipAddress, HostAndPort) {
    for (const auto& [text, host, port] :
         {std::array{"127.0.0.1:3240", "127.0.0.1", "3240"}, std::array{"[::1]:0", "::1", "0"},
          std::array{"camera.example:65535", "camera.example", "65535"}}) {
        const SocketAddress address = parseAddress(text);
        EXPECT_EQ(address.host, host);
        EXPECT_EQ(address.port, port);
        EXPECT_EQ(textOf(address), text);
    }
}

TEST(UsbipAddress, FaultsSayWhatIsAccepted) {
    for (const char* text :
         {"", "localhost", ":3240", "localhost:", "localhost:65536", "::1:3240", "localhost:-1",
          "localhost:+1", "localhost:80x", "[]:1", "[::1]3240"}) {
        try {
            parseAddress(text);
            ADD_FAILURE() << text;
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find("accepted is HOST:PORT"), std::string::npos);
        }
    }
}

TEST(UsbipAddress, ListensOnBothFamilies) {
    for (const char* host : {"127.0.0.1", "::1"}) {
        const FileDescriptor socket = listenOn({host, "0"});
        EXPECT_EQ(boundAddress(socket).host, host);
        EXPECT_NE(boundAddress(socket).port, "0");
    }
}

TEST(UsbipAddress, TakenPortIsReported) {
    const FileDescriptor socket = listenOn({"127.0.0.1", "0"});
    const SocketAddress address = boundAddress(socket);
    try {
        listenOn(address);
        ADD_FAILURE();
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "cannot listen on " + textOf(address) + ": Address already in use");
    }
}

} // namespace
} // namespace tavo::usbip
