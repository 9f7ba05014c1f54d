// The module mova._native: the command manager of the library, as it is, for the Python code around it. Texts are bytes, a
// code is its number, and what a call has beside it follows in a tuple; None where there is nothing to write.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <span>
#include <type_traits>

#include "mova/mova.h"
#include "native/CommandManager.h"

namespace mova::python {

namespace {

using Bytes = std::span<const std::uint8_t>;

Bytes bytesOf(const std::string& text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

template <class Value>
py::object orNone(const std::optional<Value>& value) {
    if (!value) return py::none();
    if constexpr (std::is_same_v<Value, std::string>) {
        return py::bytes(*value);
    } else {
        return py::int_(*value);
    }
}

py::object toPython(Code code) { return py::int_(number(code)); }
py::object toPython(std::int32_t value) { return py::int_(value); }
py::object toPython(const std::string& text) { return py::bytes(text); }
py::object toPython(const std::optional<std::string>& text) { return orNone(text); }
py::object toPython(const std::optional<std::int32_t>& value) { return orNone(value); }
py::object toPython(const TextResult& result) { return py::make_tuple(number(result.code), orNone(result.text)); }
py::object toPython(const RangeResult& result) {
    return py::make_tuple(number(result.code), orNone(result.length), orNone(result.text));
}
py::object toPython(const QueuedItem& item) {
    return py::make_tuple(item.remained, item.length, item.error, py::bytes(item.data));
}
py::object toPython(const AtResult& result) {
    return py::make_tuple(number(result.code), result.length, py::bytes(result.text));
}
py::object toPython(const CountResult& result) { return py::make_tuple(number(result.code), result.count); }
py::object toPython(const ReadResult& result) {
    return py::make_tuple(number(result.code), result.count, orNone(result.data));
}

template <class Call>
py::object runFor(CommandManager& self, Call call) {
    if constexpr (std::is_void_v<decltype(self.run(call))>) {
        self.run(call);
        return py::none();
    } else {
        return toPython(self.run(call));
    }
}

// A method of the class as a function that Python calls with the same arguments.
template <class Result, class... Arguments>
auto same(Result (CVeCmdManager::*method)(Arguments...)) {
    return [method](CommandManager& self, std::remove_cvref_t<Arguments>... arguments) {
        return runFor(self, [&](CVeCmdManager& manager) { return (manager.*method)(arguments...); });
    };
}
template <class Result, class... Arguments>
auto same(Result (CVeCmdManager::*method)(Arguments...) const) {
    return [method](CommandManager& self, std::remove_cvref_t<Arguments>... arguments) {
        return runFor(self, [&](CVeCmdManager& manager) { return (manager.*method)(arguments...); });
    };
}

py::object changeTable(CommandManager& self, std::uint8_t request, std::uint8_t access, std::uint16_t index,
                       std::uint16_t length, const std::optional<std::string>& array) {
    return runFor(self, [&](CVeCmdManager& manager) {
        std::optional<Bytes> table;
        if (array) table = bytesOf(*array);
        return manager.RfChangeTableReq(request, access, index, length, table);
    });
}

py::object writeArray(CommandManager& self, const std::string& array, std::int32_t count) {
    return runFor(self, [&](CVeCmdManager& manager) { return manager.DirectWriteAsciiData(bytesOf(array), count); });
}

py::object writeBytes(CommandManager& self, const std::string& bytes, std::int32_t count) {
    const auto held = static_cast<std::int32_t>(std::min<std::size_t>(bytes.size(), INT32_MAX));
    return runFor(self, [&](CVeCmdManager& manager) {
        return manager.DirectWriteByteData(bytesOf(bytes).data(), std::min(count, held));
    });
}

// Into an array of the caller's, which keeps its size.
py::object readArray(CommandManager& self, const py::buffer& array, std::int32_t count) {
    const py::buffer_info place = array.request(true);
    if (place.itemsize != 1 || place.ndim != 1 || place.strides[0] != 1) throw py::type_error("not an array of bytes");
    const std::span<std::uint8_t> bytes(static_cast<std::uint8_t*>(place.ptr), static_cast<std::size_t>(place.size));
    return runFor(self, [&](CVeCmdManager& manager) { return manager.DirectReadAsciiData(bytes, count); });
}

struct NamedNumber {
    const char* name;
    std::int64_t number;
};

void addNumbers(py::dict& all, const char* name, std::initializer_list<NamedNumber> numbers) {
    py::dict named;
    for (const NamedNumber& row : numbers) named[row.name] = row.number;
    all[name] = named;
}

#define MOVA_NAMED(type, name) \
    NamedNumber { #name, static_cast < std::int64_t>(type::name) }

py::dict allNumbers() {
    py::dict all;
    addNumbers(all, "Code",
               {MOVA_NAMED(Code, Success),
                MOVA_NAMED(Code, Stopped),
                MOVA_NAMED(Code, LogPathEmpty),
                MOVA_NAMED(Code, NoTraceFile),
                MOVA_NAMED(Code, BadAtCommand),
                MOVA_NAMED(Code, UnknownProperty),
                MOVA_NAMED(Code, MalformedConfirmation),
                MOVA_NAMED(Code, WrongArrayType),
                MOVA_NAMED(Code, ReaderNotStarted),
                MOVA_NAMED(Code, WaitFailed),
                MOVA_NAMED(Code, NotOpen),
                MOVA_NAMED(Code, NotSerial),
                MOVA_NAMED(Code, PortUnreadable),
                MOVA_NAMED(Code, NotConfigured),
                MOVA_NAMED(Code, NoAnswer),
                MOVA_NAMED(Code, WriteTimeout),
                MOVA_NAMED(Code, ShortWrite),
                MOVA_NAMED(Code, ChecksumMismatch),
                MOVA_NAMED(Code, NotSynchronous),
                MOVA_NAMED(Code, EventMaskNotSet),
                MOVA_NAMED(Code, WrongCommandEcho),
                MOVA_NAMED(Code, WrongObject),
                MOVA_NAMED(Code, WrongRecord),
                MOVA_NAMED(Code, WrongData),
                MOVA_NAMED(Code, WrongDataLength),
                MOVA_NAMED(Code, UnknownOption),
                MOVA_NAMED(Code, NotInitialised),
                MOVA_NAMED(Code, ReadFailed),
                MOVA_NAMED(Code, WriteFailed),
                MOVA_NAMED(Code, ErrorsNotCleared),
                MOVA_NAMED(Code, NotClosed),
                MOVA_NAMED(Code, SignalNotSet),
                MOVA_NAMED(Code, SignalsUnreadable),
                MOVA_NAMED(Code, AlreadyOpen),
                MOVA_NAMED(Code, OtpError),
                MOVA_NAMED(Code, E2pStatus2),
                MOVA_NAMED(Code, E2pStatus3),
                MOVA_NAMED(Code, E2pStatus4),
                MOVA_NAMED(Code, E2pStatus5),
                MOVA_NAMED(Code, E2pStatus6),
                MOVA_NAMED(Code, E2pStatus7),
                MOVA_NAMED(Code, E2pStatus8),
                MOVA_NAMED(Code, E2pStatus9),
                MOVA_NAMED(Code, E2pStatus10),
                MOVA_NAMED(Code, E2pStatus11),
                MOVA_NAMED(Code, E2pStatus12),
                MOVA_NAMED(Code, E2pStatusOther),
                MOVA_NAMED(Code, E2pStatus15),
                MOVA_NAMED(Code, E2pStatus16),
                MOVA_NAMED(Code, E2pStatus17),
                MOVA_NAMED(Code, E2pStatus13),
                MOVA_NAMED(Code, E2pStatus14),
                MOVA_NAMED(Code, E2pStatus18),
                MOVA_NAMED(Code, E2pStatus19),
                MOVA_NAMED(Code, E2pStatus20),
                MOVA_NAMED(Code, FlashChecksum),
                MOVA_NAMED(Code, FlashCounterAtLimit),
                MOVA_NAMED(Code, FlashNotInProgress),
                MOVA_NAMED(Code, HciStatus),
                MOVA_NAMED(Code, WifiStatus1),
                MOVA_NAMED(Code, WifiStatus2)});
    addNumbers(all, "Mode",
               {MOVA_NAMED(Mode, Synchronous), MOVA_NAMED(Mode, Events), MOVA_NAMED(Mode, Background),
                MOVA_NAMED(Mode, SynchronousOk), MOVA_NAMED(Mode, SynchronousOk4), MOVA_NAMED(Mode, BackgroundOk)});
    addNumbers(all, "Timeout",
               {MOVA_NAMED(Timeout, Write), MOVA_NAMED(Timeout, RfAcknowledgement),
                MOVA_NAMED(Timeout, Acknowledgement), MOVA_NAMED(Timeout, AtWrite)});
    addNumbers(all, "Property",
               {MOVA_NAMED(Property, Echo), MOVA_NAMED(Property, Wake), MOVA_NAMED(Property, UartSwap),
                MOVA_NAMED(Property, Call112), MOVA_NAMED(Property, HangUp), MOVA_NAMED(Property, FullFunction),
                MOVA_NAMED(Property, RegisterAutomatically), MOVA_NAMED(Property, SleepModeOn),
                MOVA_NAMED(Property, SleepModeOff), MOVA_NAMED(Property, AutoAnswer), MOVA_NAMED(Property, SendJ),
                MOVA_NAMED(Property, Bypass), MOVA_NAMED(Property, SendK), MOVA_NAMED(Property, BoardTest)});
    addNumbers(all, "Collect", {MOVA_NAMED(Collect, TextAndPending), MOVA_NAMED(Collect, WholeRecord)});
    addNumbers(all, "Info",
               {MOVA_NAMED(Info, Version), MOVA_NAMED(Info, Field1), MOVA_NAMED(Info, Imei), MOVA_NAMED(Info, Field3),
                MOVA_NAMED(Info, Field4), MOVA_NAMED(Info, Field5), MOVA_NAMED(Info, Field6), MOVA_NAMED(Info, Field7),
                MOVA_NAMED(Info, Field8), MOVA_NAMED(Info, FlashStatus), MOVA_NAMED(Info, OtpStatus)});
    addNumbers(all, "Access", {MOVA_NAMED(Access, Read), MOVA_NAMED(Access, Write)});
    addNumbers(all, "OutputSignal", {MOVA_NAMED(OutputSignal, Rts), MOVA_NAMED(OutputSignal, Dtr)});
    addNumbers(all, "InputSignal",
               {MOVA_NAMED(InputSignal, WholeStatus), MOVA_NAMED(InputSignal, Cts), MOVA_NAMED(InputSignal, Dsr),
                MOVA_NAMED(InputSignal, Ring), MOVA_NAMED(InputSignal, Carrier)});
    addNumbers(
        all, "FlowControl",
        {MOVA_NAMED(FlowControl, RtsHandshake), MOVA_NAMED(FlowControl, RtsCts), MOVA_NAMED(FlowControl, DtrHandshake),
         MOVA_NAMED(FlowControl, DtrDsr), MOVA_NAMED(FlowControl, XonXoffOut), MOVA_NAMED(FlowControl, XonXoffIn),
         MOVA_NAMED(FlowControl, XonXoff), NamedNumber{"Off", number(FlowControl::None)}});
    addNumbers(all, "RfRequest",
               {MOVA_NAMED(RfRequest, ChangeParameter), MOVA_NAMED(RfRequest, ChangeTable),
                MOVA_NAMED(RfRequest, TestCase), MOVA_NAMED(RfRequest, Statistics)});
    return all;
}

}  // namespace

PYBIND11_MODULE(_native, module) {
    using M = CVeCmdManager;
    module.doc() = "The command manager of libmovacmdsvr. Use the module mova, which is made of it.";
    module.attr("numbers") = allNumbers();
    module.attr("OUT_OF_MEMORY") = MOVA_OUT_OF_MEMORY;
    module.attr("COLLECT_RAW_DATA") = kCollectRawData;
    module.attr("START_TRACE") = kStartTrace;
    module.attr("PROPERTY_WAITS") = kPropertyWaits;
    module.def("code_text", &mova_code_text, py::arg("code"), "What a code means; empty for a number that is none.");
    module.def("code_name", &mova_code_name, py::arg("code"),
               "What a code is called; empty for a number that is none.");

    py::class_<CommandManager>(module, "CommandManager", "One object drives one handset on a serial port.")
        .def(py::init<const std::string&, py::object>(), py::arg("device"), py::arg("listener") = py::none())
        .def("close", &CommandManager::close,
             "Closes the port and ends the reader thread. Every later call raises ValueError.")
        .def("get_BaudRate", same(&M::get_BaudRate))
        .def("put_BaudRate", same(&M::put_BaudRate))
        .def("get_CommPortId", same(&M::get_CommPortId))
        .def("put_CommPortId", same(&M::put_CommPortId))
        .def("InitCmdManager", same(&M::InitCmdManager))
        .def("ProprietaryOpenComPort", same(&M::ProprietaryOpenComPort))
        .def("ResetCmdManager", same(&M::ResetCmdManager))
        .def("ProprietaryCloseComPort", same(&M::ProprietaryCloseComPort))
        .def("IsCommDeviceOpen", same(&M::IsCommDeviceOpen))
        .def("GetDeviceHandle", same(&M::GetDeviceHandle))
        .def("SetDeviceHandle", same(&M::SetDeviceHandle))
        .def("SetCommDeviceType", same(&M::SetCommDeviceType))
        .def("AssignTimeoutConstant", same(&M::AssignTimeoutConstant))
        .def("SetGeneralParam", same(&M::SetGeneralParam))
        .def("GetCmpVersion", same(&M::GetCmpVersion))
        .def("RfGeneralTestReq", same(&M::RfGeneralTestReq))
        .def("RfChangeParamReq", same(&M::RfChangeParamReq))
        .def("RfChangeTableReq", &changeTable)
        .def("RfTestCaseReq", same(&M::RfTestCaseReq))
        .def("VbRfVarReq", same(&M::VbRfVarReq))
        .def("FetchQueuedCnfItem", same(&M::FetchQueuedCnfItem))
        .def("FetchQueuedCnfTextItem", same(&M::FetchQueuedCnfTextItem))
        .def("ClearQueue", same(&M::ClearQueue))
        .def("SendNormalAtCmd", same(&M::SendNormalAtCmd))
        .def("GetNormalAtResult", same(&M::GetNormalAtResult))
        .def("SetAtCmdProperty", same(&M::SetAtCmdProperty))
        .def("SwitchOperateMode", same(&M::SwitchOperateMode))
        .def("SpecificInfo", same(&M::SpecificInfo))
        .def("ReadE2PObject", same(&M::ReadE2PObject))
        .def("ReadWholeE2PObject", same(&M::ReadWholeE2PObject))
        .def("WriteE2PObject", same(&M::WriteE2PObject))
        .def("SendE2PPasswd", same(&M::SendE2PPasswd))
        .def("SendAuthReq", same(&M::SendAuthReq))
        .def("SendAuthKey", same(&M::SendAuthKey))
        .def("SendSerialNumber", same(&M::SendSerialNumber))
        .def("SendHashReq", same(&M::SendHashReq))
        .def("SendLockOtp", same(&M::SendLockOtp))
        .def("ReadE2PObjectEx", same(&M::ReadE2PObjectEx))
        .def("WriteE2PObjectEx", same(&M::WriteE2PObjectEx))
        .def("HciAction", same(&M::HciAction))
        .def("WiFiAction", same(&M::WiFiAction))
        .def("DirectWriteHexData", same(&M::DirectWriteHexData))
        .def("DirectReadHexData", same(&M::DirectReadHexData))
        .def("DirectQueryDataInQueue", same(&M::DirectQueryDataInQueue))
        .def("DirectWriteAsciiData", &writeArray)
        .def("DirectReadAsciiData", &readArray)
        .def("DirectWriteByteData", &writeBytes)
        .def("RetriveComPortData", same(&M::RetriveComPortData))
        .def("SetCommSignal", same(&M::SetCommSignal))
        .def("DetectCommSignal", same(&M::DetectCommSignal))
        .def("SwitchCommFlowControlMode", same(&M::SwitchCommFlowControlMode))
        .def("ActivateMovaLogging", same(&M::ActivateMovaLogging))
        .def("Set_Log_File_Path", same(&M::Set_Log_File_Path));
    py::module_::import("atexit").attr("register")(py::cpp_function(&CommandManager::closeAll));
}

}  // namespace mova::python
