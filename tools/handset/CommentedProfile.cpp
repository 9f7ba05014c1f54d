#include "handset/ProfileFile.h"

namespace mova::handset {

const char* const kCommentedProfile =
    R"(# A simulated handset. Every key may be left out; here each has its first value.
name = "handset"                  # in the log
# conversation = "recorded.log"   # replayed; what it does not hold is answered as below

[identity]
manufacturer = "ACME"             # AT+CGMI, ATI
model = "AM-1"                    # AT+CGMM, ATI
revision = "4.2"                  # AT+CGMR, ATI
version = ["ACME AM-1", "SW 4.2.0 2026-03-01"]  # AT%V
imei = "490154203237518"          # AT+CGSN, ATD*#06#
signal = "21,99"                  # AT+CSQ
registration = "0,1"              # AT+CREG?
operator = '0,0,"TESTNET"'        # AT+COPS?
otp = "UNLOCKED"                  # AT%OTP?; "": ERROR

[line]
baud_rate = 115200                # 0: as fast as the machine
echo = true
delay_ms = 0                      # before each answer
split_ms = 0                      # between the bytes of an answer
drop_per_mille = 0                # bytes that are lost
noise_per_mille = 0               # bytes that are put in between
seed = 1                          # of both
unsolicited_ms = 0                # between numbered confirmations; 0: none
sleep_after_ms = 200              # idle time until a handset in sleep mode falls asleep
wake_frames = 1                   # that it takes to wake it

[answers]                         # AT commands that are answered in a way of their own
# "AT+CBC" = "+CBC: 0,97"         # information, then OK
# "AT+CPIN?" = { information = [], result = "+CME ERROR: 10", delay_ms = 250 }

[services]
segment_size = 120                # bytes of data in a confirmation of E2P, HCI and WiFi
e2p_status = 0                    # of every answer while it is not 0
hci_status = 0
wifi_status = 0
# [[services.rf]]                 # an answer instead of what was sent; "request" is how the request begins:
# request = "05 00 0002"          # RF: service, access, index, low byte first
# status = 0
# data = "1122"
# [[services.hci]]
# request = "01 030C"             # HCI: option, command
# data = "040E04"
# [[services.wifi]]
# request = "10"                  # WiFi: command, parameter
# status = 3

[e2p]
erased = true                     # begin with the usual objects, all FF; false: with none
# file = "store.txt"              # read at the start if it is there, written at the end
# [[e2p.objects]]
# object = 0x2001
# record = 1
# data = "00 11 22 33"            # or: size = 512, fill = 0xFF

[faults]                          # for so many answers, or "always"
# wrong-checksum = 2
# silence = "always"
)";

}  // namespace mova::handset
