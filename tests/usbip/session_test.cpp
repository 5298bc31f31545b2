// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a host can do with an imported device.
#include "server_fixture.h"

#include <cerrno>

namespace tavo::usbiptest {
namespace {

using SessionTest = ServerTest;

TEST_F(SessionTest, DescriptorsComeCutToWhatIsAskedFor) {
    Client client = connect();
    ASSERT_EQ(client.import("1-1"), usbip::OperationStatus::ok);
    const Bytes all = makeEchoDevice()->descriptors();
    EXPECT_EQ(client.control(getDescriptor(1, 64)).data, Bytes(all.begin(), all.begin() + 18));
    EXPECT_EQ(client.control(getDescriptor(1, 8)).data, Bytes(all.begin(), all.begin() + 8));
    EXPECT_EQ(client.control(getDescriptor(2, 9)).data, Bytes(all.begin() + 18, all.begin() + 27));
    EXPECT_EQ(client.control(getDescriptor(2, 512)).data, Bytes(all.begin() + 18, all.end()));
    EXPECT_EQ(client.control(getDescriptor(6, 10)).status, -EPIPE) << "a device qualifier";
}

TEST_F(SessionTest, ConfigurationIsWhatTheHostHasChosen) {
    Client client = connect();
    ASSERT_EQ(client.import("1-1"), usbip::OperationStatus::ok);
    const SetupPacket getConfiguration{0x80, 8, 0, 0, 1};
    EXPECT_EQ(client.control(getConfiguration).data, Bytes{0});
    EXPECT_EQ(client.control(setInterface(1)).status, -EPIPE) << "no configuration yet";
    EXPECT_EQ(client.in(kAlways, 8).status, -EPIPE);
    EXPECT_EQ(client.control(setConfiguration(2)).status, -EPIPE);
    EXPECT_EQ(client.control(setConfiguration(1)).status, 0);
    EXPECT_EQ(client.in(kAlways, 8).data, Bytes{0xaa});
    EXPECT_EQ(client.control(getConfiguration).data, Bytes{1});
    EXPECT_EQ(client.control(setConfiguration(0)).status, 0);
    EXPECT_EQ(client.control(getConfiguration).data, Bytes{0});
}

TEST_F(SessionTest, AlternateSettingDecidesWhichEndpointsThereAre) {
    Client client = imported();
    EXPECT_EQ(client.control({0x81, 10, 0, 0, 1}).data, Bytes{1});
    EXPECT_EQ(settingOf(client), 1u);
    EXPECT_EQ(client.out(kEcho, {1}).status, 0);
    EXPECT_EQ(client.control(setInterface(2)).status, -EPIPE);
    EXPECT_EQ(client.control(setInterface(0)).status, 0);
    EXPECT_EQ(client.out(kEcho, {1}).status, -EPIPE);
    client.control(setInterface(1));
    client.control(setConfiguration(1));
    EXPECT_EQ(settingOf(client), 0u) << "a new configuration starts in setting 0";
}

TEST_F(SessionTest, ControlRequestsReachTheDevice) {
    Client client = imported();
    EXPECT_EQ(client.control(vendorOut(kStore, 0, 3), {1, 2, 3}).status, 0);
    EXPECT_EQ(client.control(vendorIn(kStore, 3)).data, (Bytes{1, 2, 3}));
    EXPECT_EQ(client.control(vendorIn(99, 3)).status, -EPIPE);
    EXPECT_EQ(client.control(vendorIn(kStore, 3)).status, 0) << "control halts do not last";
}

TEST_F(SessionTest, DataOfAnotherLengthThanTheSetupPacketIsRefused) {
    Client client = imported();
    usbip::Submit command;
    command.sequence = 500;
    command.device = usbip::deviceId(client.device());
    command.setup = vendorOut(kStore, 0, 9);
    command.length = 2;
    client.send(encode(command));
    client.send(Bytes{1, 2});
    EXPECT_EQ(client.answer().status, -EPIPE);
    command.direction = Direction::in;
    client.send(encode(command));
    EXPECT_EQ(client.answer().status, -EPIPE) << "the packet says out";
}

TEST_F(SessionTest, ControlAnswerKeepsToTheSmallerLength) {
    Client client = imported();
    usbip::Submit command;
    command.sequence = 500;
    command.device = usbip::deviceId(client.device());
    command.direction = Direction::in;
    command.setup = getDescriptor(1, 18);
    command.length = 4;
    client.send(encode(command));
    const Answer answer = client.answer();
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.length, 4);
    EXPECT_EQ(client.receive(4), (Bytes{18, 1, 0, 2}));
}

TEST_F(SessionTest, BulkDataGoesOutAndComesBack) {
    Client client = imported();
    Bytes data(100'000);
    for (std::size_t index = 0; index < data.size(); ++index)
        data[index] = static_cast<std::uint8_t>(index * 7 + (index >> 8));
    const Answer sent = client.out(kEcho, data);
    EXPECT_EQ(sent.status, 0);
    EXPECT_EQ(sent.length, 100'000);
    EXPECT_EQ(client.in(kEcho, 200'000).data, data);
}

TEST_F(SessionTest, WhatIsNotAskedForYetIsKept) {
    Client client = imported();
    client.out(kEcho, Bytes(600, 7));
    EXPECT_EQ(client.in(kEcho, 512).data, Bytes(512, 7));
    EXPECT_EQ(client.in(kEcho, 512).data, Bytes(88, 7));
}

TEST_F(SessionTest, FullerPacketThanThereIsRoomForIsAnError) {
    Client client = imported();
    client.out(kEcho, Bytes(600, 7));
    const Answer answer = client.in(kEcho, 512 + 87);
    EXPECT_EQ(answer.status, -EOVERFLOW);
    EXPECT_EQ(answer.data, Bytes(512, 7)) << "the packet that fits";
    client.out(kEcho, Bytes(600, 7));
    EXPECT_EQ(client.in(kEcho, 600).status, 0);
}

TEST_F(SessionTest, MoreThanAskedForNeverArrives) {
    Client client = imported();
    const Answer answer = client.in(kExcess, 1024);
    EXPECT_EQ(answer.status, -EOVERFLOW);
    EXPECT_EQ(answer.length, 1024);
}

TEST_F(SessionTest, ShortAnswerIsAnErrorOnRequestOnly) {
    Client client = imported();
    client.out(kEcho, {1});
    EXPECT_EQ(client.in(kEcho, 2).status, 0);
    client.out(kEcho, {1});
    const Answer answer = client.in(kEcho, 2, usbip::kShortNotOk);
    EXPECT_EQ(answer.status, -EREMOTEIO);
    EXPECT_EQ(answer.data, Bytes{1}) << "the data are not lost";
    client.out(kEcho, {1});
    EXPECT_EQ(client.in(kEcho, 1, usbip::kShortNotOk).status, 0);
}

TEST_F(SessionTest, RequestsOfAnEndpointAreAnsweredInOrder) {
    Client client = imported();
    const auto first = client.submitIn(kEcho, 8);
    const auto second = client.submitIn(kEcho, 8);
    EXPECT_EQ(client.out(kEcho, {1}).sequence, second + 1);
    EXPECT_EQ(client.answer(), (Answer{first, false, 0, {1}, 1}));
    client.out(kEcho, {2});
    EXPECT_EQ(client.answer(), (Answer{second, false, 0, {2}, 1}));
}

TEST_F(SessionTest, WaitingRequestIsAnsweredWhenTheDeviceWakes) {
    Client client = imported();
    client.control(vendorOut(kLater, 30));
    EXPECT_EQ(client.in(kEcho, 8).data, (Bytes{'l', 'a', 't', 'e'}));
}

TEST_F(SessionTest, UnlinkOfAWaitingRequestIsItsOnlyAnswer) {
    Client client = imported();
    const auto waiting = client.submitIn(kEcho, 8);
    const auto unlink = client.unlink(waiting);
    EXPECT_EQ(client.answer(), (Answer{unlink, true, -ECONNRESET, {}, 0}));
    client.out(kEcho, {1});
    EXPECT_EQ(client.in(kEcho, 8).data, Bytes{1}) << "no data went to the unlinked request";
}

TEST_F(SessionTest, UnlinkOfAnAnsweredRequestSaysSo) {
    Client client = imported();
    client.out(kEcho, {1});
    const Answer answered = client.in(kEcho, 8);
    const auto unlink = client.unlink(answered.sequence);
    EXPECT_EQ(client.answer(), (Answer{unlink, true, 0, {}, 0}));
    const auto unknown = client.unlink(77777);
    EXPECT_EQ(client.answer(), (Answer{unknown, true, 0, {}, 0}));
}

TEST_F(SessionTest, UnlinkLetsTheNextHaveItsTurn) {
    Client client = imported();
    const auto first = client.submitIn(kEcho, 8);
    const auto second = client.submitIn(kEcho, 8);
    const auto unlink = client.unlink(first);
    EXPECT_EQ(client.answer().sequence, unlink);
    client.out(kEcho, {1});
    EXPECT_EQ(client.answer(), (Answer{second, false, 0, {1}, 1}));
}

TEST_F(SessionTest, DeviceLearnsThatTheRequestItHasIsUnlinked) {
    Client client = imported();
    const auto first = client.submitIn(kEcho, 8);
    const auto second = client.submitIn(kEcho, 8);
    client.unlink(second);
    client.answer();
    EXPECT_EQ(client.control(vendorIn(kState, 3)).data.at(2), 0) << "it has not had its turn";
    client.unlink(first);
    client.answer();
    EXPECT_EQ(client.control(vendorIn(kState, 3)).data.at(2), 1);
}

TEST_F(SessionTest, RefusalHaltsAnEndpointUntilItIsCleared) {
    Client client = imported();
    const SetupPacket status{0x82, 0, 0, kRefuse | 0x80, 2};
    EXPECT_EQ(client.control(status).data, (Bytes{0, 0}));
    EXPECT_EQ(client.in(kRefuse, 8).status, -EPIPE);
    EXPECT_EQ(client.control(status).data, (Bytes{1, 0}));
    EXPECT_EQ(client.control(clearHalt(kRefuse | 0x80)).status, 0);
    EXPECT_EQ(client.control(status).data, (Bytes{0, 0}));
    EXPECT_EQ(client.control(clearHalt(0x8f)).status, -EPIPE) << "there is no such endpoint";
}

TEST_F(SessionTest, HaltedEndpointRefusesAll) {
    Client client = imported();
    EXPECT_EQ(client.control({0x02, 3, 0, kEcho, 0}).status, 0);
    EXPECT_EQ(client.out(kEcho, {1}).status, -EPIPE);
    client.control(clearHalt(kEcho));
    EXPECT_EQ(client.out(kEcho, {2}).status, 0);
    EXPECT_EQ(client.in(kEcho, 8).data, Bytes{2}) << "nothing was taken while it was halted";
}

TEST_F(SessionTest, ResetIsSeenByTheEnumerationThatFollows) {
    Client client = imported();
    EXPECT_EQ(resetsOf(client), 0u);
    client.control(getDescriptor(1, 18));
    EXPECT_EQ(resetsOf(client), 0u) << "any program may ask for the descriptor";
    client.control(getDescriptor(1, 64));
    client.control(getDescriptor(1, 64));
    EXPECT_EQ(resetsOf(client), 1u);
    EXPECT_EQ(settingOf(client), 0u);
    EXPECT_EQ(client.out(kEcho, {1}).status, -EPIPE);
    client.chooseEndpoints();
    EXPECT_EQ(client.out(kEcho, {1}).status, 0);
}

TEST_F(SessionTest, ResetOfThePortMayBeToldToo) {
    Client client = imported();
    EXPECT_EQ(client.control({0x23, 3, 4, 1, 0}).status, 0);
    EXPECT_EQ(resetsOf(client), 1u);
    EXPECT_EQ(client.control({0x23, 3, 8, 1, 0}).status, -EPIPE);
}

} // namespace
} // namespace tavo::usbiptest
