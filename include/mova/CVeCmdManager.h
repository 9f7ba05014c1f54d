// The command manager: one object drives one handset on a serial port. This is the whole face of the library; the
// automation component on Windows is made of the same object.
//
// Codes     0 (Code::Success) or what went wrong; mova/Codes.h has them all. Running out of memory throws
//           std::bad_alloc; nothing else is thrown. A method that needs the port opens it when it is closed; before
//           the first InitCmdManager such a method gives NotInitialised.
// Texts     are 8-bit, as they travel on the line. Hexadecimal text has two digits for each byte, upper case on output;
//           on input any case, and every other character counts as 0.
// Failures  leave the port usable unless the text says otherwise. An empty optional in a result means: there is nothing
//           to write, the caller's value stays as it was.
// Times     are in milliseconds. Positions and lengths in E2P objects count characters of hexadecimal text.
// Threads   Any thread may call; calls run one after another, an exchange from its first byte to its last wait. Only
//           ResetCmdManager, ProprietaryCloseComPort and FinalRelease do not wait for a call that is under way: they
//           end its wait (Stopped or NoAnswer), and calls that wait behind it send nothing (Stopped). A listener may
//           call the object, also on the reader thread; while SwitchOperateMode ends that thread, it sends nothing.
// Lifetime  The reader thread holds what it touches, so the object may be destroyed while it runs. The destructor waits
//           for that thread, unless it runs on it. A platform that was given outlives the object and its thread.
#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "mova/Codes.h"
#include "mova/ConfirmationEvents.h"
#include "mova/Export.h"
#include "mova/Options.h"

namespace mova {

struct Core;
struct Platform;

struct TextResult {
    Code code = Code::Success;
    std::optional<std::string> text;  // of a success; HciAction has more
};

struct RangeResult {
    Code code = Code::Success;
    std::optional<std::int32_t> length;  // characters
    std::optional<std::string> text;
};

struct QueuedItem {
    std::uint32_t remained = 0;  // records of every kind that are left in the queue
    std::uint32_t length = 0;    // bytes of data; of the text form, characters
    std::uint32_t error = 0;     // always 0
    std::string data;            // empty when there was no confirmation; a half byte at its end does not count
};

struct AtResult {
    Code code = Code::Success;
    std::int32_t length = 0;  // characters
    std::string text;
};

struct CountResult {
    Code code = Code::Success;
    std::int32_t count = 0;  // bytes moved
};

struct ReadResult {
    Code code = Code::Success;
    std::int32_t count = 0;           // bytes
    std::optional<std::string> data;  // hexadecimal text, when something was read
};

class MOVA_API CVeCmdManager {
public:
    // On the running system. events may be null; it is kept as long as the object and its reader thread live.
    explicit CVeCmdManager(std::shared_ptr<ConfirmationEvents> events = nullptr);
    // On another system: the running one with a device for its port (mova/Device.h), or that of tests.
    explicit CVeCmdManager(Platform& platform, std::shared_ptr<ConfirmationEvents> events = nullptr);
    ~CVeCmdManager();  // FinalRelease, when it has not run
    CVeCmdManager(const CVeCmdManager&) = delete;
    CVeCmdManager& operator=(const CVeCmdManager&) = delete;

    // Closes the port and ends the reader thread; waits at most 2 s for it, and not at all on that thread. The second
    // call does nothing. No method may be called after it.
    void FinalRelease();

    // --- port and lifecycle

    // Bits per second, used at the next open. 115200 at first.
    std::int32_t get_BaudRate() const;
    void put_BaudRate(std::int32_t baudRate);

    // The n of COMn (on Linux of the link /dev/COMn). 1 at first. A new number is kept only while the port is closed.
    std::int32_t get_CommPortId() const;
    void put_CommPortId(std::int32_t port);

    // Empties queue and pending text, opens the port (an open one is closed first, which takes 500 ms) and, in a
    // background mode, starts the reader thread. The first thing to call. option is ignored.
    // NotOpen: no such port, not listed by the system, or another program has it. PortUnreadable, NotConfigured,
    // EventMaskNotSet: it does not take its settings (after four attempts, 500 ms apart). ReaderNotStarted: the port is
    // open and stays so.
    Code InitCmdManager(std::uint32_t option);
    // The same without emptying the queue; it does not count as the first InitCmdManager. option is ignored.
    Code ProprietaryOpenComPort(std::int32_t option);

    // Both the same: ends waits and the background reading, empties queue and pending text, closes the port, which takes
    // 500 ms. NotClosed: the system refused. The option is ignored. Does not wait for the reader thread.
    Code ResetCmdManager(std::uint32_t option);
    Code ProprietaryCloseComPort(std::int32_t option);

    std::int32_t IsCommDeviceOpen() const;  // 1 or 0; for a device type other than 0 always 0
    // The low 32 bits of the port's system handle, -1 while it is closed. Empty for a device type other than 0.
    std::optional<std::int32_t> GetDeviceHandle() const;
    // Lends the object a port that is open already; it is used as it is set, and stays open when the object goes.
    // AlreadyOpen, NotSerial: nothing is changed.
    Code SetDeviceHandle(std::int32_t handle);

    // type: DeviceType. Of the serial port a positive port and baudRate are taken over. Every other type has no port:
    // methods that need one succeed and do nothing. Time-outs 1 to 5 go back to their first values. Always Success.
    Code SetCommDeviceType(std::int16_t type, std::int32_t port, std::int32_t baudRate);

    // option: Timeout. At first 1000, 1000, 1000, 4000, 1500, 10000 for options 1 to 6. A value below 1 or above
    // 200000 becomes 500; another option changes nothing.
    void AssignTimeoutConstant(std::int32_t option, std::int32_t milliseconds);

    // Does nothing, whatever is given: kept for programs that call it.
    void SetGeneralParam(std::uint32_t, std::uint32_t, std::uint32_t, std::int32_t, std::int32_t, std::int32_t);

    // option: CmpVersion. Build: the date of the library's file; every other: "<MovaCmdSvr Ver 1.8.6>".
    std::string GetCmpVersion(std::int32_t option) const;

    // --- RF tests
    // Codes of all: NotInitialised, those of the port's write (WriteTimeout, WriteFailed, ShortWrite, NotOpen, Stopped)
    // and, in a synchronous mode, NoAnswer when the handset acknowledges no segment within Timeout::RfAcknowledgement.
    // The answer data is a confirmation in the queue.

    Code RfGeneralTestReq(std::uint8_t service, std::uint16_t index);
    // Also what automation clients know as RfStatisticsReq.
    Code RfChangeParamReq(std::uint8_t request, std::uint8_t access, std::uint16_t index, std::uint16_t parameter);
    // Also RfOtherTestService. Sends the smallest of length, 1024 and what the array holds, in bytes.
    // WrongArrayType: there is no array; nothing is sent.
    Code RfChangeTableReq(std::uint8_t request, std::uint8_t access, std::uint16_t index, std::uint16_t length,
                          std::optional<std::span<const std::uint8_t>> array);
    Code RfTestCaseReq(std::uint8_t request, std::uint8_t access);
    // kind: RfRequest; parameter: the values of that request in decimal, separated by ","; a table in hexadecimal.
    Code VbRfVarReq(std::int32_t kind, std::uint8_t request, const std::string& parameter);

    // --- confirmation queue

    // Takes the first general (RF) confirmation. A queue of more than 100 records is emptied before the next is filed.
    QueuedItem FetchQueuedCnfItem();      // data: the payload's bytes
    QueuedItem FetchQueuedCnfTextItem();  // data: hexadecimal text
    // Takes in what waits, then empties port, pending text and queue.
    void ClearQueue();

    // --- AT commands

    // Sends the command and a carriage return; does not wait for the answer. In a synchronous mode port and queue are
    // emptied first. BadAtCommand: nothing is sent. Else the codes of the port's write. option is ignored.
    Code SendNormalAtCmd(std::int32_t option, const std::string& command);
    // What has arrived so far, on one line with "~" for each line end; empty when nothing has. Does not wait. option:
    // Collect. NotSynchronous: nothing is taken.
    AtResult GetNormalAtResult(std::int32_t option);
    // id: Property, or Property + kPropertyWaits. UnknownProperty: nothing is sent. NoAnswer: of the waiting form.
    Code SetAtCmdProperty(std::uint32_t id, std::uint32_t parameter);
    // mode: Mode. A synchronous mode ends the reader thread (waits at most 2 s for it) and empties port and queue; the
    // others start it. Always Success. parameter is ignored.
    Code SwitchOperateMode(std::uint32_t mode, std::uint32_t parameter);
    // option: Info; access: Access; parameter: of a write, the value or values. After a write the text is the value as it
    // was written. UnknownOption: nothing is sent. Else codes of an AT exchange or an E2P request, OtpError, Flash...
    TextResult SpecificInfo(std::int32_t option, std::int32_t access, const std::string& parameter);

    // --- E2P objects
    // Texts are hexadecimal. Each segment of at most 240 characters is written and acknowledged in turn. Codes of all:
    // NotOpen for a message of more than 10,239 characters (nothing is sent), those of the port's write, NoAnswer when
    // an acknowledgement does not come within Timeout::Acknowledgement, E2pStatus... as the handset reports it, Wrong...
    // when the reply is to another request or another echo than was sent.
    // A reply that lost a segment, or of which one was damaged, can be Success with its text cut short: hosts rely on
    // it. ReadWholeE2PObject does not take such a reply.

    TextResult ReadE2PObject(std::int32_t object, std::int32_t record);
    // The same, but WrongDataLength unless the reply's data is hexadecimal digits alone, as many as the handset
    // announces: a line can damage a reply in ways that its checksum does not show. Automation clients do not have it.
    TextResult ReadWholeE2PObject(std::int32_t object, std::int32_t record);
    TextResult WriteE2PObject(std::int32_t object, std::int32_t record, const std::string& hexText);
    TextResult SendE2PPasswd(std::int32_t object, std::int32_t record, const std::string& hexText);
    TextResult SendAuthReq(std::int32_t object, std::int32_t record);
    TextResult SendAuthKey(std::int32_t object, std::int32_t record, const std::string& hexText);
    TextResult SendSerialNumber(std::int32_t object, std::int32_t record, const std::string& hexText);
    TextResult SendHashReq(std::int32_t object, std::int32_t record);
    TextResult SendLockOtp(std::int32_t object, std::int32_t record);
    // A part of the object. Negative positions and lengths count as 0; beyond the object's end there is what is left.
    RangeResult ReadE2PObjectEx(std::int32_t object, std::int32_t record, std::int32_t start, std::int32_t length);
    // Reads the object, lays hexText over a part of it and writes it back; it never becomes longer.
    RangeResult WriteE2PObjectEx(std::int32_t object, std::int32_t record, std::int32_t start, std::int32_t length,
                                 const std::string& hexText);

    // --- Bluetooth controller and WiFi

    // A reply can be cut short with Success, as that of an E2P object.

    // Options 0, 4, 5 and 16 send the command; 1, 2 and 3 send none. Leaves Timeout::Acknowledgement at 4000 (option 1:
    // 10000) for all later requests. UnknownOption: nothing is sent. WrongCommandEcho, HciStatus (options 1 and 2): the
    // text is the reply's data with these too. Without a confirmation the reply reads as option 0 without data.
    TextResult HciAction(std::int32_t option, const std::string& hexCommand);
    // WifiStatus1, WifiStatus2: the handset's status; every other status is a success. WrongCommandEcho.
    // Without a confirmation the reply reads as command 0 with status 0 and no data.
    TextResult WiFiAction(std::uint8_t command, const std::string& hexParameter);

    // --- raw port access

    // At most count bytes of the text. Codes of the port's write.
    CountResult DirectWriteHexData(const std::string& hexText, std::int32_t count);
    // What waits in the port, at most count bytes; does not wait.
    ReadResult DirectReadHexData(std::int32_t count);
    std::int32_t DirectQueryDataInQueue();  // bytes waiting
    // Moves no more bytes than array holds. The code is always Success: only the count tells.
    CountResult DirectWriteAsciiData(std::span<const std::uint8_t> array, std::int32_t count);
    CountResult DirectReadAsciiData(std::span<std::uint8_t> array, std::int32_t count);
    // bytes holds count bytes; a null pointer or a count below 1 writes nothing.
    CountResult DirectWriteByteData(const std::uint8_t* bytes, std::int32_t count);
    // option kCollectRawData: what comes within the duration (at most 1000 ms, 2048 bytes) as hexadecimal text, or
    // "NULL". Empty: another option, the port is not open, or it was closed meanwhile.
    std::optional<std::string> RetriveComPortData(std::int32_t option, std::int32_t milliseconds);

    // --- modem lines and flow control

    // index: OutputSignal; value 0 lowers the line, every other raises it. NotOpen, SignalNotSet (after a second try).
    Code SetCommSignal(std::int32_t index, std::int32_t value);
    // index: InputSignal. 1 or 0, or the whole status, of StatusBit; 0 when it cannot be read.
    std::int32_t DetectCommSignal(std::int32_t index);
    // mode: FlowControl; an open port takes it at once. Has no effect before the first InitCmdManager.
    void SwitchCommFlowControlMode(std::int32_t mode);

    // --- logging

    // request kStartTrace starts the trace file, which is appended to; times in it count from startTick (a tick count
    // of the system). NoTraceFile: it is active all the same, its records go unwritten.
    Code ActivateMovaLogging(const std::string& fileName, std::uint32_t startTick, std::uint32_t request);
    // A log of commands and answers, one tagged line each, appended to. Empty: none.
    void Set_Log_File_Path(const std::string& path);

private:
    Code closePort();

    std::shared_ptr<Core> core_;
    bool released_ = false;
};

}  // namespace mova
