// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What waits in the pipe of the controller's replies, and the numbers of its requests.
#include "raw_host.h"

#include <gtest/gtest.h>

namespace tavo::virtualcamera::test {

namespace {

Bytes readPorts(std::uint8_t transaction) {
    return {3, transaction, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0};
}

Outcome send(RawHost& host, const Bytes& frame) {
    return host.device().bulkOut(0x04, frame);
}

// The transaction that a reply answers.
unsigned answered(RawHost& host) {
    const Reply reply = host.device().bulkIn(0x86, 64);
    return reply.outcome == Outcome::done ? reply.data.at(0) : 0xFFFFU;
}

} // namespace

TEST(ReplyPipe, KeepsRepliesThatNoOneHasReadInTheirOrder) {
    RawHost host;
    host.start();
    for (const std::uint8_t transaction : Bytes{50, 51, 52})
        ASSERT_EQ(send(host, readPorts(transaction)), Outcome::done);
    EXPECT_TRUE(host.logged("2 earlier replies that no one has read come first"));
    for (const unsigned transaction : {50U, 51U, 52U})
        EXPECT_EQ(answered(host), transaction);
    EXPECT_EQ(host.device().bulkIn(0x86, 64).outcome, Outcome::nothing);
}

TEST(ReplyPipe, AHostThatSkipsAReplyIsOutOfStepUntilTheNextStart) {
    const Bytes header{3, 0, 0, 0, 0, 0, 0, 0};
    RawHost host;
    host.start();
    ASSERT_EQ(send(host, readPorts(50)), Outcome::done); // and its reply is not read
    host.setPort0(0x9F, 0x00);
    EXPECT_EQ(host.request(header, {}, 5), (Bytes{0x80, 0, 0, 0, 0})) << "as it was before";
    host.start();
    host.setPort0(0x9F, 0x00);
    EXPECT_EQ(host.request(header, {}, 5), (Bytes{0x00, 0, 0, 0, 0}));
}

TEST(ReplyPipe, AReadNeverGoesOnIntoTheNextReply) {
    RawHost host;
    host.start();
    send(host, readPorts(50));
    send(host, readPorts(51));
    EXPECT_EQ(host.device().bulkIn(0x86, 4).data.size(), 4U);
    EXPECT_EQ(host.device().bulkIn(0x86, 64).data.size(), 5U);
    EXPECT_EQ(answered(host), 51U);
}

TEST(ReplyPipe, StallsInTurnForARefusal) {
    RawHost host;
    host.start();
    send(host, readPorts(50));
    // An I2C address where nothing answers.
    send(host, {4, 51, 0xFF, 0, 0, 0, 1, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0x80, 0x00});
    send(host, readPorts(52));
    EXPECT_EQ(answered(host), 50U);
    EXPECT_EQ(host.device().bulkIn(0x86, 64).outcome, Outcome::stalled);
    EXPECT_EQ(answered(host), 52U);
}

TEST(ReplyPipe, LetsRequestsWaitOnceItIsFull) {
    RawHost host;
    host.start();
    for (const std::uint8_t transaction : Bytes{50, 51, 52, 53})
        ASSERT_EQ(send(host, readPorts(transaction)), Outcome::done);
    EXPECT_EQ(send(host, readPorts(54)), Outcome::nothing);
    EXPECT_TRUE(host.logged("the reply pipe is full"));
    EXPECT_TRUE(host.setLinkTimeout(100)) << "wants no reply";
    EXPECT_EQ(answered(host), 50U);
    EXPECT_EQ(send(host, readPorts(54)), Outcome::done);
    for (const unsigned transaction : {51U, 52U, 53U, 54U})
        EXPECT_EQ(answered(host), transaction);
}

// A count that several cameras share comes round to the same number now and then.
TEST(Transactions, TheSameNumberMayComeTwiceButNotThrice) {
    RawHost host;
    host.start();
    const auto taken = [&host](std::uint8_t transaction) {
        if (send(host, readPorts(transaction)) != Outcome::done)
            return false;
        return answered(host) == transaction;
    };
    EXPECT_TRUE(taken(50));
    EXPECT_TRUE(taken(50));
    EXPECT_TRUE(host.logged("transaction 50 follows 50, it has not been counted"));
    EXPECT_FALSE(taken(50));
    EXPECT_TRUE(host.logged("transaction 50 has come three times in a row"));
    EXPECT_FALSE(taken(50));
    EXPECT_TRUE(taken(51));
    EXPECT_TRUE(taken(51));
    EXPECT_TRUE(taken(50)) << "a gap is no error";
    host.start();
    EXPECT_TRUE(taken(50));
    EXPECT_TRUE(taken(50)) << "counted from the start of the firmware";
}

} // namespace tavo::virtualcamera::test
