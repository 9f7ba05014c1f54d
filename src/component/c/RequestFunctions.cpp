// The functions that speak with the handset: RF tests, confirmations, AT commands, E2P objects, Bluetooth and WiFi.
#include "component/c/Handle.h"

using namespace mova;

namespace {

mova_code giveReply(TextResult result, const TextPlace& place) {
    return giveText(std::move(result.text), result.code, place);
}

struct QueuePlaces {
    uint32_t* remained;
    uint32_t* count;
    uint32_t* error;
};

mova_code giveItem(QueuedItem item, const QueuePlaces& places, const TextPlace& place) {
    put(places.remained, item.remained);
    put(places.count, item.length);
    put(places.error, item.error);
    return giveText(std::move(item.data), Code::Success, place);
}

}  // namespace

// --- RF tests

mova_code mova_rf_general_test_req(mova_handset* handset, uint8_t service, uint16_t index) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.RfGeneralTestReq(service, index); });
}

mova_code mova_rf_change_param_req(mova_handset* handset, uint8_t request, uint8_t access, uint16_t index,
                                   uint16_t parameter) noexcept {
    return onHandset(
        handset, [&](CVeCmdManager& manager) { return manager.RfChangeParamReq(request, access, index, parameter); });
}

mova_code mova_rf_change_table_req(mova_handset* handset, uint8_t request, uint8_t access, uint16_t index,
                                   uint16_t length, const uint8_t* array, size_t array_size) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        std::optional<std::span<const std::uint8_t>> table;
        if (array != nullptr) table.emplace(array, array_size);
        return manager.RfChangeTableReq(request, access, index, length, table);
    });
}

mova_code mova_rf_test_case_req(mova_handset* handset, uint8_t request, uint8_t access) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.RfTestCaseReq(request, access); });
}

mova_code mova_vb_rf_var_req(mova_handset* handset, int32_t kind, uint8_t request, const char* parameter,
                             size_t parameter_length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return manager.VbRfVarReq(kind, request, textFrom(parameter, parameter_length));
    });
}

// --- confirmation queue

mova_code mova_fetch_queued_cnf_item(mova_handset* handset, uint32_t* remained, uint32_t* count, uint32_t* error,
                                     char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveItem(manager.FetchQueuedCnfItem(), {remained, count, error}, {buffer, capacity, length});
    });
}

mova_code mova_fetch_queued_cnf_text_item(mova_handset* handset, uint32_t* remained, uint32_t* count, uint32_t* error,
                                          char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveItem(manager.FetchQueuedCnfTextItem(), {remained, count, error}, {buffer, capacity, length});
    });
}

mova_code mova_clear_queue(mova_handset* handset) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { manager.ClearQueue(); });
}

// --- AT commands

mova_code mova_send_normal_at_cmd(mova_handset* handset, int32_t option, const char* command,
                                  size_t command_length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return manager.SendNormalAtCmd(option, textFrom(command, command_length));
    });
}

mova_code mova_get_normal_at_result(mova_handset* handset, int32_t option, char* buffer, size_t capacity,
                                    size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        AtResult result = manager.GetNormalAtResult(option);
        return giveText(std::move(result.text), result.code, {buffer, capacity, length});
    });
}

mova_code mova_set_at_cmd_property(mova_handset* handset, uint32_t id, uint32_t parameter) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.SetAtCmdProperty(id, parameter); });
}

mova_code mova_switch_operate_mode(mova_handset* handset, uint32_t mode, uint32_t parameter) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.SwitchOperateMode(mode, parameter); });
}

mova_code mova_specific_info(mova_handset* handset, int32_t option, int32_t access, const char* parameter,
                             size_t parameter_length, char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.SpecificInfo(option, access, textFrom(parameter, parameter_length)),
                         {buffer, capacity, length});
    });
}

// --- E2P objects

mova_code mova_read_e2p_object(mova_handset* handset, int32_t object, int32_t record, char* buffer, size_t capacity,
                               size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.ReadE2PObject(object, record), {buffer, capacity, length});
    });
}

mova_code mova_read_whole_e2p_object(mova_handset* handset, int32_t object, int32_t record, char* buffer,
                                     size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.ReadWholeE2PObject(object, record), {buffer, capacity, length});
    });
}

mova_code mova_send_auth_req(mova_handset* handset, int32_t object, int32_t record, char* buffer, size_t capacity,
                             size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.SendAuthReq(object, record), {buffer, capacity, length});
    });
}

mova_code mova_send_hash_req(mova_handset* handset, int32_t object, int32_t record, char* buffer, size_t capacity,
                             size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.SendHashReq(object, record), {buffer, capacity, length});
    });
}

mova_code mova_send_lock_otp(mova_handset* handset, int32_t option, int32_t record, char* buffer, size_t capacity,
                             size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.SendLockOtp(option, record), {buffer, capacity, length});
    });
}

mova_code mova_write_e2p_object(mova_handset* handset, int32_t object, int32_t record, const char* hex,
                                size_t hex_length, char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.WriteE2PObject(object, record, textFrom(hex, hex_length)), {buffer, capacity, length});
    });
}

mova_code mova_send_e2p_passwd(mova_handset* handset, int32_t object, int32_t record, const char* hex,
                               size_t hex_length, char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.SendE2PPasswd(object, record, textFrom(hex, hex_length)), {buffer, capacity, length});
    });
}

mova_code mova_send_auth_key(mova_handset* handset, int32_t object, int32_t record, const char* hex, size_t hex_length,
                             char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.SendAuthKey(object, record, textFrom(hex, hex_length)), {buffer, capacity, length});
    });
}

mova_code mova_send_serial_number(mova_handset* handset, int32_t object, int32_t record, const char* hex,
                                  size_t hex_length, char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.SendSerialNumber(object, record, textFrom(hex, hex_length)),
                         {buffer, capacity, length});
    });
}

mova_code mova_read_e2p_object_ex(mova_handset* handset, int32_t object, int32_t record, int32_t start, int32_t* range,
                                  char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        RangeResult result = manager.ReadE2PObjectEx(object, record, start, range != nullptr ? *range : 0);
        if (result.length) put(range, *result.length);
        return giveText(std::move(result.text), result.code, {buffer, capacity, length});
    });
}

mova_code mova_write_e2p_object_ex(mova_handset* handset, int32_t object, int32_t record, int32_t start, int32_t* range,
                                   const char* hex, size_t hex_length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        const RangeResult result =
            manager.WriteE2PObjectEx(object, record, start, range != nullptr ? *range : 0, textFrom(hex, hex_length));
        if (result.length) put(range, *result.length);
        return result.code;
    });
}

// --- Bluetooth controller and WiFi

mova_code mova_hci_action(mova_handset* handset, int32_t option, const char* hex_command, size_t hex_command_length,
                          char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.HciAction(option, textFrom(hex_command, hex_command_length)),
                         {buffer, capacity, length});
    });
}

mova_code mova_wifi_action(mova_handset* handset, uint8_t command, const char* hex_parameter,
                           size_t hex_parameter_length, char* buffer, size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveReply(manager.WiFiAction(command, textFrom(hex_parameter, hex_parameter_length)),
                         {buffer, capacity, length});
    });
}
