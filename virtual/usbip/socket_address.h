// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Where a server listens: HOST:PORT, in which HOST is a name, an IPv4 address, or an IPv6 address
// in brackets.
#pragma once

#include "file_descriptor.h"

#include <string>

#include <sys/socket.h>

namespace tavo::usbip {

struct SocketAddress {
    std::string host; // without brackets
    std::string port; // a number from 0 to 65535; 0 lets the system choose one
};

// Throws std::invalid_argument with a text for the user.
SocketAddress parseAddress(const std::string& text);

// A listening socket. Throws std::runtime_error with a text for the user.
FileDescriptor listenOn(const SocketAddress& address);

// The address a socket is bound to.
SocketAddress boundAddress(const FileDescriptor& socket);

// HOST:PORT, with brackets where they are needed.
std::string textOf(const SocketAddress& address);
std::string nameOf(const sockaddr_storage& address);

// Lets replies leave at once: a host waits for each before it asks for more.
void sendSmallReplies(int socket);

// Lets a connection break by itself, about a minute after the computer at its other end has
// vanished, or has stopped to take what is sent.
void noticeVanishedPeer(int socket);

} // namespace tavo::usbip
