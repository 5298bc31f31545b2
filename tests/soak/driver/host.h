// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The program with the cameras, which watches this one.
#pragma once

#include "../channel.h"

#include <string>
#include <utility>

namespace tavo::soak {

class Host {
public:
    explicit Host(int descriptor) : channel(descriptor) {}

    // Runs an operation of which the host knows that it has begun and has not returned.
    template <typename Operation>
    auto watched(const std::string& text, Operation operation) {
        const Call call(channel, text);
        return operation();
    }

    void finding(const std::string& text) { channel.send("finding " + text); }

    // Of interest to who looks at this session.
    void note(const std::string& text) { channel.send("note " + text); }

    void cameraOpened() { ask("opened"); }
    // True when the camera has been plugged in anew.
    bool askForHealth() { return ask("health") == "well replugged"; }
    void tellHealthy() { channel.send("healthy"); }

private:
    class Call {
    public:
        Call(Channel& channel_, const std::string& text) : channel(channel_) {
            channel.send("call " + text);
        }
        ~Call() { channel.send("back"); }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

    private:
        Channel& channel;
    };

    std::string ask(const std::string& question) {
        channel.send(question);
        return channel.receive(-1).value_or("");
    }

    Channel channel;
};

} // namespace tavo::soak
