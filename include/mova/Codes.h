// The codes that the methods report: 32-bit, 0 for success, grouped by their high digits.
#pragma once
#include <cstdint>

namespace mova::code {

constexpr std::uint32_t Success = 0;
constexpr std::uint32_t Stopped = 0x0010;  // the stop event ended a wait

constexpr std::uint32_t NoTraceFile = 0x1002;  // no trace file could be opened

constexpr std::uint32_t BadAtCommand = 0x2007;  // empty or longer than 4094 characters

constexpr std::uint32_t UnknownProperty = 0x3001;        // unknown AT property id
constexpr std::uint32_t MalformedConfirmation = 0x3001;  // deliberate: one number for three argument and format errors
constexpr std::uint32_t WrongArrayType = 0x3001;
constexpr std::uint32_t ReaderNotStarted = 0x3005;
constexpr std::uint32_t WaitFailed = 0x3006;

constexpr std::uint32_t NotOpen = 0x4000;    // port not open or not present, could not be opened; bad length
constexpr std::uint32_t NotSerial = 0x4001;  // the operation needs the serial device type
constexpr std::uint32_t PortUnreadable = 0x4002;   // the port's properties or state could not be read
constexpr std::uint32_t NotConfigured = 0x4003;    // the port could not be configured
constexpr std::uint32_t NoAnswer = 0x4004;         // no (accepted) answer within the time; read wait timed out
constexpr std::uint32_t WriteTimeout = 0x4005;
constexpr std::uint32_t ShortWrite = 0x4010;
constexpr std::uint32_t ChecksumMismatch = 0x4011;
constexpr std::uint32_t NotSynchronous = 0x4014;  // AT answers are collected only in the synchronous mode

constexpr std::uint32_t EventMaskNotSet = 0x4201;
constexpr std::uint32_t WrongCommandEcho = 0x4203;  // the reply's command or option differs from the request's
constexpr std::uint32_t WrongObject = 0x4204;
constexpr std::uint32_t WrongRecord = 0x4205;
constexpr std::uint32_t WrongData = 0x4206;
constexpr std::uint32_t WrongDataLength = 0x4207;

constexpr std::uint32_t UnknownOption = 0x4305;
constexpr std::uint32_t NotInitialised = 0x4317;
constexpr std::uint32_t ReadFailed = 0x4340;
constexpr std::uint32_t WriteFailed = 0x4341;
constexpr std::uint32_t ErrorsNotCleared = 0x4342;
constexpr std::uint32_t NotClosed = 0x4343;  // the port handle could not be closed
constexpr std::uint32_t SignalNotSet = 0x4344;
constexpr std::uint32_t SignalsUnreadable = 0x4345;
constexpr std::uint32_t AlreadyOpen = 0x4346;

constexpr std::uint32_t OtpError = 0x6300;  // the handset answered the OTP query with "ERROR"

constexpr std::uint32_t E2pStatusOther = 0x820C;  // an E2P status without a code of its own: 1, 21 to 255

constexpr std::uint32_t FlashChecksum = 0xB340;
constexpr std::uint32_t FlashCounterAtLimit = 0xB341;
constexpr std::uint32_t FlashNotInProgress = 0xB342;

constexpr std::uint32_t HciStatus = 0xD303;
constexpr std::uint32_t WifiStatus1 = 0xD380;
constexpr std::uint32_t WifiStatus2 = 0xD381;

}  // namespace mova::code
