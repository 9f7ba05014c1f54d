// The command manager: one object per handset. It composes the rooms below and has the whole method surface in
// C++ types; the automation interface is a thin skin over it, and Linux programs use it as it stands.
//
// Texts are 8-bit text in the system code page. Codes are 32-bit, 0 for success (docs/reference.md lists them).
// An empty optional text means: the caller's text stays as it was. Running out of memory throws std::bad_alloc.
// One thread calls the object; its reader thread runs beside it and outlives neither its module nor what it touches.
// The platform outlives the reader thread, which a listener that ends the object on it outlives by a moment.
#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "mova/Export.h"

namespace mova {

struct Platform;

// What a caller's confirmation listener receives (operating mode 1). Called on the thread that runs the engine.
class MOVA_API ConfirmationEvents {
public:
    virtual ~ConfirmationEvents() = default;
    virtual void OnCpGetMovaCnf(std::int32_t lType, std::int32_t lParam, const std::string& text) = 0;
    // Around the reader thread's life, on that thread.
    virtual void readerStarted() {}
    virtual void readerEnded() {}
    // On a thread that waits for the reader thread's end: lets calls in that the reader may be waiting for.
    virtual void letCallsIn() {}
};

struct TextResult {
    std::uint32_t code = 0;
    std::optional<std::string> text;
};

struct RangeResult {
    std::uint32_t code = 0;
    std::optional<std::int32_t> length;  // empty: the caller's length stays as it was
    std::optional<std::string> text;
};

struct QueuedItem {
    std::uint32_t remained = 0;  // records left in the queue
    std::uint32_t length = 0;    // bytes of data, or characters for the text form
    std::uint32_t error = 0;     // always 0
    std::string data;
};

struct AtResult {
    std::uint32_t code = 0;
    std::int32_t length = 0;
    std::string text;
};

struct CountResult {
    std::uint32_t code = 0;
    std::int32_t count = 0;  // bytes moved
};

struct ReadResult {
    std::uint32_t code = 0;
    std::int32_t count = 0;
    std::optional<std::string> data;
};

struct Rooms;

class MOVA_API CVeCmdManager {
public:
    // On the running system.
    explicit CVeCmdManager(std::shared_ptr<ConfirmationEvents> events = nullptr);
    // For tests.
    explicit CVeCmdManager(Platform& platform, std::shared_ptr<ConfirmationEvents> events = nullptr);
    ~CVeCmdManager();  // runs FinalRelease if it has not run
    CVeCmdManager(const CVeCmdManager&) = delete;
    CVeCmdManager& operator=(const CVeCmdManager&) = delete;

    // Closes the port and ends the reader thread; waits for that thread unless called on it. Once only.
    void FinalRelease();

    // Port and lifecycle
    std::int32_t get_BaudRate() const;
    void put_BaudRate(std::int32_t baudRate);
    std::int32_t get_CommPortId() const;
    void put_CommPortId(std::int32_t port);  // kept only while the port is closed
    std::uint32_t InitCmdManager(std::uint32_t ulParam);
    std::uint32_t ResetCmdManager(std::uint32_t ulParam);
    std::uint32_t ProprietaryOpenComPort(std::int32_t lOption);
    std::uint32_t ProprietaryCloseComPort(std::int32_t lOption);
    std::int32_t IsCommDeviceOpen() const;
    std::optional<std::int32_t> GetDeviceHandle() const;  // low 32 bits; empty for a device type other than 0
    std::uint32_t SetDeviceHandle(std::int32_t lHandle);
    std::uint32_t SetCommDeviceType(std::int16_t sDeviceType, std::int32_t lDevicePara1, std::int32_t lDevicePara2);
    void AssignTimeoutConstant(std::int32_t lOption, std::int32_t lMiliSecTimeout);
    void SetGeneralParam(std::uint32_t, std::uint32_t, std::uint32_t, std::int32_t, std::int32_t, std::int32_t);
    std::string GetCmpVersion(std::int32_t lOption) const;

    // RF tests
    std::uint32_t RfGeneralTestReq(std::uint8_t bytServiceType, std::uint16_t ushIndex);
    std::uint32_t RfChangeParamReq(std::uint8_t bytReq, std::uint8_t bytAccess, std::uint16_t ushIndex,
                                   std::uint16_t ushParam);
    // No array (an argument that is not one of 8- or 16-bit unsigned values): 0x3001.
    std::uint32_t RfChangeTableReq(std::uint8_t bytReq, std::uint8_t bytAccess, std::uint16_t ushIndex,
                                   std::uint16_t ushLength, std::optional<std::span<const std::uint8_t>> array);
    std::uint32_t RfTestCaseReq(std::uint8_t bytReq, std::uint8_t bytAccess);
    std::uint32_t VbRfVarReq(std::int32_t lReqType, std::uint8_t bytReq, const std::string& parameter);

    // Confirmation queue
    QueuedItem FetchQueuedCnfItem();      // data: payload bytes
    QueuedItem FetchQueuedCnfTextItem();  // data: hexadecimal text
    void ClearQueue();

    // AT channel
    std::uint32_t SendNormalAtCmd(std::int32_t lOption, const std::string& command);
    AtResult GetNormalAtResult(std::int32_t lOption);
    std::uint32_t SetAtCmdProperty(std::uint32_t ulPropertyId, std::uint32_t ulParam);
    std::uint32_t SwitchOperateMode(std::uint32_t ulOption, std::uint32_t ulParam);
    TextResult SpecificInfo(std::int32_t lOption, std::int32_t iAccess, const std::string& parameter);

    // E2P objects
    TextResult ReadE2PObject(std::int32_t objectId, std::int32_t record);
    TextResult WriteE2PObject(std::int32_t objectId, std::int32_t record, const std::string& hexText);
    TextResult SendE2PPasswd(std::int32_t objectId, std::int32_t record, const std::string& hexText);
    TextResult SendAuthReq(std::int32_t objectId, std::int32_t record);
    TextResult SendAuthKey(std::int32_t objectId, std::int32_t record, const std::string& hexText);
    TextResult SendSerialNumber(std::int32_t objectId, std::int32_t record, const std::string& hexText);
    TextResult SendHashReq(std::int32_t objectId, std::int32_t record);
    TextResult SendLockOtp(std::int32_t lOption, std::int32_t lRecord);
    RangeResult ReadE2PObjectEx(std::int32_t objectId, std::int32_t record, std::int32_t startPos, std::int32_t length);
    RangeResult WriteE2PObjectEx(std::int32_t objectId, std::int32_t record, std::int32_t startPos, std::int32_t length,
                                 const std::string& hexText);

    // Bluetooth controller and WiFi
    TextResult HciAction(std::int32_t lOption, const std::string& hexCommand);
    TextResult WiFiAction(std::uint8_t bytCmd, const std::string& hexParameter);

    // Raw port access
    CountResult DirectWriteHexData(const std::string& hexText, std::int32_t lDataToWrite);
    ReadResult DirectReadHexData(std::int32_t lDataToRead);
    std::int32_t DirectQueryDataInQueue();
    CountResult DirectWriteAsciiData(std::span<const std::uint8_t> array, std::int32_t lDataToWrite);
    CountResult DirectReadAsciiData(std::span<std::uint8_t> array, std::int32_t lDataToRead);
    CountResult DirectWriteByteData(const std::uint8_t* pbytBuf, std::int32_t lDataToWrite);
    std::optional<std::string> RetriveComPortData(std::int32_t lOption, std::int32_t lPollingDuration);

    // Modem lines
    std::uint32_t SetCommSignal(std::int32_t iIndex, std::int32_t bValue);
    std::int32_t DetectCommSignal(std::int32_t iIndex);
    void SwitchCommFlowControlMode(std::int32_t lFlowControlMode);

    // Logging
    std::uint32_t ActivateMovaLogging(const std::string& fileName, std::uint32_t ulStartTick, std::uint32_t pulParamError);
    void Set_Log_File_Path(const std::string& path);

private:
    std::uint32_t closePort();
    std::uint32_t startReader();

    std::shared_ptr<Rooms> rooms_;
    bool released_ = false;
};

}  // namespace mova
