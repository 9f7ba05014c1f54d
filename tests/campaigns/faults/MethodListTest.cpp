// No method of the command manager without a situation in which failures are tried on it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "campaigns/faults/Scenarios.h"

namespace mova {
namespace {

using Names = std::set<std::string>;

const Names kMethods{
    "ActivateMovaLogging",
    "AssignTimeoutConstant",
    "ClearQueue",
    "CVeCmdManager",
    "DetectCommSignal",
    "DirectQueryDataInQueue",
    "DirectReadAsciiData",
    "DirectReadHexData",
    "DirectWriteAsciiData",
    "DirectWriteByteData",
    "DirectWriteHexData",
    "FetchQueuedCnfItem",
    "FetchQueuedCnfTextItem",
    "FinalRelease",
    "get_BaudRate",
    "get_CommPortId",
    "GetCmpVersion",
    "GetDeviceHandle",
    "GetNormalAtResult",
    "HciAction",
    "InitCmdManager",
    "IsCommDeviceOpen",
    "ProprietaryCloseComPort",
    "ProprietaryOpenComPort",
    "put_BaudRate",
    "put_CommPortId",
    "ReadE2PObject",
    "ReadE2PObjectEx",
    "ReadWholeE2PObject",
    "ResetCmdManager",
    "RetriveComPortData",
    "RfChangeParamReq",
    "RfChangeTableReq",
    "RfGeneralTestReq",
    "RfTestCaseReq",
    "SendAuthKey",
    "SendAuthReq",
    "SendE2PPasswd",
    "SendHashReq",
    "SendLockOtp",
    "SendNormalAtCmd",
    "SendSerialNumber",
    "Set_Log_File_Path",
    "SetAtCmdProperty",
    "SetCommDeviceType",
    "SetCommSignal",
    "SetDeviceHandle",
    "SetGeneralParam",
    "SpecificInfo",
    "SwitchCommFlowControlMode",
    "SwitchOperateMode",
    "VbRfVarReq",
    "WiFiAction",
    "WriteE2PObject",
    "WriteE2PObjectEx",
    "~CVeCmdManager",
};

// The public names of the class as its header declares them.
Names declaredMethods() {
    std::ifstream file(MOVA_SOURCE_DIR "/include/mova/CVeCmdManager.h");
    std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto begin = text.find("class MOVA_API CVeCmdManager {");
    EXPECT_NE(begin, std::string::npos);
    text = text.substr(begin, text.find("private:", begin) - begin);
    text = std::regex_replace(text, std::regex("//[^\n]*"), "");
    Names names;
    const std::regex declared("(~?[A-Za-z_]\\w*)\\(");
    for (auto it = std::sregex_iterator(text.begin(), text.end(), declared); it != std::sregex_iterator(); ++it) {
        names.insert((*it)[1]);
    }
    return names;
}

TEST(MethodList, IsThatOfTheClass) { EXPECT_EQ(declaredMethods(), kMethods); }

TEST(MethodList, HasASituationForEachMethod) {
    Names tried;
    for (const Scenario& scenario : scenarios()) tried.insert(std::string(scenario.method()));
    tried.erase("reader");
    tried.erase("viewer");
    EXPECT_EQ(tried, kMethods);
}

}  // namespace
}  // namespace mova
