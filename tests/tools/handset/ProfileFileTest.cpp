#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "handset/ProfileFile.h"
#include "unit/platform/TempFolder.h"

namespace mova::handset {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

HandsetSetup setupOf(const std::string& text, const std::string& path = "my.toml") {
    std::string error;
    auto setup = profileFromText(text, path, error);
    EXPECT_EQ(error, "");
    return setup.value_or(HandsetSetup());
}

std::string errorOf(const std::string& text) {
    std::string error;
    EXPECT_FALSE(profileFromText(text, "my.toml", error));
    return error;
}

// What a handset of that profile answers at once, at one minute of its time.
std::string answer(const HandsetSetup& setup, const std::string& request) {
    constexpr std::uint64_t kMinute = 60'000'000;
    Profile profile = setup.profile;
    profile.baudRate = 0;
    profile.echo = false;
    Handset handset(profile);
    setup.applyTo(handset, kMinute);
    handset.receive(request, kMinute);
    return handset.due(kMinute);
}

TEST(ProfileFile, AnEmptyOneIsThePlainHandset) {
    const HandsetSetup setup = setupOf("");
    EXPECT_EQ(setup.name, "handset");
    EXPECT_EQ(setup.profile.baudRate, 115200u);
    EXPECT_TRUE(setup.profile.echo);
    EXPECT_EQ(setup.store.objects().size(), 11u);
    EXPECT_EQ(answer(setup, "AT+CGMR\r"), "\r\n4.2\r\n\r\nOK\r\n");
}

TEST(ProfileFile, TheCommentedProfileHasTheFirstValueOfEachKey) {
    const HandsetSetup setup = setupOf(kCommentedProfile);
    const HandsetSetup plain;
    EXPECT_EQ(setup.name, plain.name);
    EXPECT_EQ(setup.profile.manufacturer, plain.profile.manufacturer);
    EXPECT_EQ(setup.profile.model, plain.profile.model);
    EXPECT_EQ(setup.profile.revision, plain.profile.revision);
    EXPECT_EQ(setup.profile.version, plain.profile.version);
    EXPECT_EQ(setup.profile.imei, plain.profile.imei);
    EXPECT_EQ(setup.profile.signal, plain.profile.signal);
    EXPECT_EQ(setup.profile.registration, plain.profile.registration);
    EXPECT_EQ(setup.profile.operatorName, plain.profile.operatorName);
    EXPECT_EQ(setup.profile.otp, plain.profile.otp);
    EXPECT_EQ(setup.profile.baudRate, plain.profile.baudRate);
    EXPECT_EQ(setup.profile.sleepAfterMicroseconds, plain.profile.sleepAfterMicroseconds);
    EXPECT_EQ(setup.profile.wakeFrames, plain.profile.wakeFrames);
    EXPECT_EQ(setup.segmentSize, plain.segmentSize);
    EXPECT_EQ(setup.store.objects(), plain.store.objects());
}

TEST(ProfileFile, TheCommentedProfileIsAProfileWithItsExamplesTakenIn) {
    std::string text = kCommentedProfile;
    for (const char* example :
         {"# \"AT+", "# [[", "# request", "# status", "# data", "# object", "# record", "# wrong", "# silence"}) {
        for (auto at = text.find(example); at != text.npos; at = text.find(example)) text.erase(at, 2);
    }
    const HandsetSetup setup = setupOf(text);
    EXPECT_EQ(setup.services.size(), 3u);
    EXPECT_EQ(setup.profile.answers.size(), 2u);
    EXPECT_EQ(setup.store.objects().at({0x2001, 1}), "\x00\x11\x22\x33"s);
    EXPECT_EQ(answer(setup, "AT\r"), "");  // silence = "always"
}

TEST(ProfileFile, TakesTheIdentity) {
    const HandsetSetup setup = setupOf(
        "name = 'left'\n[identity]\nmanufacturer='M'\nmodel='O'\nrevision='R'\nversion='one line'\nimei='123'\n"
        "signal='1,2'\nregistration='0,5'\noperator='1'\notp=''\n");
    EXPECT_EQ(setup.name, "left");
    EXPECT_EQ(answer(setup, "ATI\r"), "\r\nM\r\nO\r\nR\r\n\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT%V\r"), "\r\none line\r\n\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT+CGSN\r"), "\r\n123\r\n\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT+CSQ\r"), "\r\n+CSQ: 1,2\r\n\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT+CREG?\r"), "\r\n+CREG: 0,5\r\n\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT+COPS?\r"), "\r\n+COPS: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT%OTP?\r"), "\r\nERROR\r\n");
}

TEST(ProfileFile, TakesTheLine) {
    const HandsetSetup setup = setupOf(
        "[line]\nbaud_rate=9600\necho=false\ndelay_ms=1.5\nsplit_ms=2\ndrop_per_mille=3\nnoise_per_mille=4\nseed=5\n"
        "unsolicited_ms=6\nsleep_after_ms=7\nwake_frames=8\n");
    EXPECT_EQ(setup.profile.baudRate, 9600u);
    EXPECT_FALSE(setup.profile.echo);
    EXPECT_EQ(setup.faults.delayMicroseconds, 1'500u);
    EXPECT_EQ(setup.faults.splitGapMicroseconds, 2'000u);
    EXPECT_EQ(setup.faults.droppedPerMille, 3u);
    EXPECT_EQ(setup.faults.noisePerMille, 4u);
    EXPECT_EQ(setup.faults.seed, 5u);
    EXPECT_EQ(setup.unsolicitedMicroseconds, 6'000u);
    EXPECT_EQ(setup.profile.sleepAfterMicroseconds, 7'000u);
    EXPECT_EQ(setup.profile.wakeFrames, 8u);
}

TEST(ProfileFile, TakesAnswersOfItsOwn) {
    const HandsetSetup setup = setupOf(
        "[answers]\n'at+cbc' = '+CBC: 0,97'\n'AT+CPIN?' = {result='+CME ERROR: 10'}\n"
        "'AT+CGMR' = {information=['a','b'], result=''}\n'AT+SLOW' = {delay_ms=1}\n");
    EXPECT_EQ(answer(setup, "AT+CBC\r"), "\r\n+CBC: 0,97\r\n\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "at+cbc\r"), "\r\n+CBC: 0,97\r\n\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT+CPIN?\r"), "\r\n+CME ERROR: 10\r\n");
    EXPECT_EQ(answer(setup, "AT+CGMR\r"), "\r\na\r\nb\r\n");
    EXPECT_EQ(answer(setup, "AT+SLOW\r"), "");  // later
}

// Frames: length, payload, and the exclusive or of both.
TEST(ProfileFile, TakesAnswersOfServices) {
    const HandsetSetup setup = setupOf(
        "[services]\n[[services.rf]]\nrequest='05 00 0002'\nstatus=7\ndata='1122'\n"
        "[[services.hci]]\nrequest='01 "
        "030C'\nstatus=9\ndata='AA'\n[[services.wifi]]\nrequest='10'\nstatus=3\ndata='BB'\n");
    EXPECT_EQ(answer(setup, "AT*MOVA=090005000002000000000E\r"), "*MOVA=ACK\r\n*MOVA=070005070002112234\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT*MOVA=0900A00101020001030CA5\r"), "*MOVA=ACK\r\n*MOVA=0900A0000102000109AA08\r\nOK\r\n");
    EXPECT_EQ(answer(setup, "AT*MOVA=0800B0010110000000A8\r"), "*MOVA=ACK\r\n*MOVA=0900B0000110030100BB11\r\nOK\r\n");
    // Other requests are answered as ever.
    EXPECT_EQ(answer(setup, "AT*MOVA=090005000201000000000F\r"), "*MOVA=ACK\r\n*MOVA=05000500020103\r\nOK\r\n");
}

TEST(ProfileFile, TakesServicesAndObjects) {
    const HandsetSetup setup = setupOf(
        "[services]\nsegment_size=50\ne2p_status=1\nhci_status=2\nwifi_status=3\n[e2p]\n"
        "objects=[{object=0x1001,record=2,data='00 ff'},{object=1,size=3},{object=1,record=2,size=2,fill=0}]\n"
        "erased=false\n");
    EXPECT_EQ(setup.segmentSize, 50u);
    EXPECT_EQ(setup.e2pStatus, 1u);
    EXPECT_EQ(setup.hciStatus, 2u);
    EXPECT_EQ(setup.wifiStatus, 3u);
    EXPECT_EQ(setup.store.objects(), (std::map<E2pStore::Key, std::string>{
                                         {{0x1001, 2}, "\x00\xFF"s}, {{1, 1}, "\xFF\xFF\xFF"}, {{1, 2}, "\x00\x00"s}}));
}

TEST(ProfileFile, TakesFaults) {
    HandsetSetup setup = setupOf("[faults]\nwrong-checksum=2\nsilence='always'\n");
    EXPECT_TRUE(setup.faults.take(Fault::WrongChecksum));
    EXPECT_TRUE(setup.faults.take(Fault::WrongChecksum));
    EXPECT_FALSE(setup.faults.take(Fault::WrongChecksum));
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(setup.faults.take(Fault::Silence));
}

TEST(ProfileFile, FilesThatItNamesAreBesideIt) {
    const TempFolder folder;
    std::ofstream(folder.file("talk.log")) << "<- AT+X\n-> answered\n";
    std::ofstream(folder.file("my.toml")) << "conversation='talk.log'\n[e2p]\nfile='store.txt'\n";
    std::string error;
    auto setup = readProfile(folder.file("my.toml"), error);
    ASSERT_TRUE(setup) << error;
    EXPECT_EQ(answer(*setup, "AT+X\r"), "answered");
    EXPECT_EQ(setup->storeFile, folder.file("store.txt"));
    EXPECT_TRUE(readStore(*setup, error));  // not there yet
    EXPECT_EQ(setup->store.objects().size(), 11u);
    E2pStore kept;
    kept.put(1, 2, "\x7F");
    EXPECT_TRUE(writeStore(*setup, kept));
    EXPECT_TRUE(readStore(*setup, error));
    EXPECT_EQ(setup->store.objects(), kept.objects());
}

TEST(ProfileFile, ErrorsNameTheirPlace) {
    EXPECT_EQ(errorOf("[line]\n  baud_rat = 1\n"),
              "my.toml:2:3: no key is called baud_rat here; there are: baud_rate, echo, delay_ms, split_ms, "
              "drop_per_mille, noise_per_mille, seed, unsolicited_ms, sleep_after_ms, wake_frames");
    EXPECT_EQ(errorOf("[line]\nbaud_rate = -1\n"), "my.toml:2:13: expected a number from 0 to 4294967295");
    EXPECT_EQ(errorOf("[line]\necho = 1\n"), "my.toml:2:8: expected true or false");
    EXPECT_EQ(errorOf("[line]\ndelay_ms = 'x'\n"), "my.toml:2:12: expected milliseconds, from 0 to a day");
    EXPECT_EQ(errorOf("[line]\ndrop_per_mille = 1001\n"), "my.toml:2:18: expected a number from 0 to 1000");
    EXPECT_EQ(errorOf("name = 3\n"), "my.toml:1:8: expected a text");
    EXPECT_EQ(errorOf("[identity]\nversion = [1]\n"), "my.toml:2:12: expected a text");
    EXPECT_EQ(errorOf("identity = 1\n"), "my.toml:1:12: expected a table");
    EXPECT_EQ(errorOf("[answers]\nAT = 1\n"), "my.toml:2:6: expected a text or an array of texts");
    EXPECT_EQ(errorOf("[answers]\nAT = {text='x'}\n"),
              "my.toml:2:7: no key is called text here; there are: information, result, delay_ms");
    EXPECT_EQ(errorOf("[services]\nsegment_size = 0\n"), "my.toml:2:16: expected a number from 1 to 240");
    EXPECT_EQ(errorOf("[services]\nrf = 1\n"), "my.toml:2:6: expected tables, each under [[name]]");
    EXPECT_EQ(errorOf("[[services.rf]]\ndata = '123'\n"),
              "my.toml:2:8: expected hexadecimal text of at most 200 bytes");
    EXPECT_EQ(errorOf("[[e2p.objects]]\ndata = '12'\n"), "my.toml:1:1: an object needs its number: object = 0x1234");
    EXPECT_EQ(errorOf("[[e2p.objects]]\nobject = 1\n"), "my.toml:1:1: an object needs its data, or else its size");
    EXPECT_EQ(errorOf("[faults]\nsilence = 0\n"), "my.toml:2:11: expected a number from 1 to 1000000000");
    EXPECT_EQ(errorOf("[faults]\nsilence = 'often'\n"), "my.toml:2:11: expected a number of answers, or \"always\"");
    EXPECT_THAT(errorOf("[faults]\nnoise = 1\n"),
                testing::StartsWith("my.toml:2:1: no fault is called noise; there are: silence, "));
    EXPECT_THAT(errorOf("[line\n"), testing::StartsWith("my.toml:1:"));
    EXPECT_EQ(errorOf("conversation = 'none.log'\n"), "my.toml:1:16: none.log: cannot be read");
}

TEST(ProfileFile, AMissingOneIsAnError) {
    std::string error;
    EXPECT_FALSE(readProfile("/nowhere/my.toml", error));
    EXPECT_EQ(error, "/nowhere/my.toml: cannot be read");
}

}  // namespace
}  // namespace mova::handset
