// The functions on the port itself: lifecycle, raw access, modem lines, logging.
#include "component/c/Handle.h"

using namespace mova;

// --- port and lifecycle

mova_code mova_get_baud_rate(mova_handset* handset, int32_t* baud_rate) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { put(baud_rate, manager.get_BaudRate()); });
}

mova_code mova_put_baud_rate(mova_handset* handset, int32_t baud_rate) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { manager.put_BaudRate(baud_rate); });
}

mova_code mova_get_comm_port_id(mova_handset* handset, int32_t* port) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { put(port, manager.get_CommPortId()); });
}

mova_code mova_put_comm_port_id(mova_handset* handset, int32_t port) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { manager.put_CommPortId(port); });
}

mova_code mova_init_cmd_manager(mova_handset* handset, uint32_t option) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.InitCmdManager(option); });
}

mova_code mova_proprietary_open_com_port(mova_handset* handset, int32_t option) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.ProprietaryOpenComPort(option); });
}

mova_code mova_reset_cmd_manager(mova_handset* handset, uint32_t option) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.ResetCmdManager(option); });
}

mova_code mova_proprietary_close_com_port(mova_handset* handset, int32_t option) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.ProprietaryCloseComPort(option); });
}

mova_code mova_is_comm_device_open(mova_handset* handset, int32_t* open) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { put(open, manager.IsCommDeviceOpen()); });
}

mova_code mova_get_device_handle(mova_handset* handset, int32_t* device) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        if (const auto handle = manager.GetDeviceHandle()) put(device, *handle);
    });
}

mova_code mova_set_device_handle(mova_handset* handset, int32_t device) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.SetDeviceHandle(device); });
}

mova_code mova_set_comm_device_type(mova_handset* handset, int16_t type, int32_t port, int32_t baud_rate) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.SetCommDeviceType(type, port, baud_rate); });
}

mova_code mova_assign_timeout_constant(mova_handset* handset, int32_t option, int32_t milliseconds) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { manager.AssignTimeoutConstant(option, milliseconds); });
}

mova_code mova_set_general_param(mova_handset* handset, uint32_t param1, uint32_t param2, uint32_t param3,
                                 int32_t param4, int32_t param5, int32_t param6) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        manager.SetGeneralParam(param1, param2, param3, param4, param5, param6);
    });
}

mova_code mova_get_cmp_version(mova_handset* handset, int32_t option, char* buffer, size_t capacity,
                               size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveText(manager.GetCmpVersion(option), Code::Success, {buffer, capacity, length});
    });
}

// --- raw port access

mova_code mova_direct_write_hex_data(mova_handset* handset, const char* hex, size_t hex_length, int32_t count,
                                     int32_t* written) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        const CountResult result = manager.DirectWriteHexData(textFrom(hex, hex_length), count);
        put(written, result.count);
        return result.code;
    });
}

mova_code mova_direct_read_hex_data(mova_handset* handset, int32_t count, int32_t* read, char* buffer, size_t capacity,
                                    size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        ReadResult result = manager.DirectReadHexData(count);
        put(read, result.count);
        return giveText(std::move(result.data), result.code, {buffer, capacity, length});
    });
}

mova_code mova_direct_query_data_in_queue(mova_handset* handset, int32_t* waiting) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { put(waiting, manager.DirectQueryDataInQueue()); });
}

mova_code mova_direct_write_ascii_data(mova_handset* handset, const uint8_t* array, size_t array_size, int32_t count,
                                       int32_t* written) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        requireArray(array, array_size);
        const CountResult result = manager.DirectWriteAsciiData({array, array_size}, count);
        put(written, result.count);
        return result.code;
    });
}

mova_code mova_direct_read_ascii_data(mova_handset* handset, uint8_t* array, size_t array_size, int32_t count,
                                      int32_t* read) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        requireArray(array, array_size);
        const CountResult result = manager.DirectReadAsciiData({array, array_size}, count);
        put(read, result.count);
        return result.code;
    });
}

mova_code mova_direct_write_byte_data(mova_handset* handset, const uint8_t* bytes, int32_t count,
                                      int32_t* written) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        const CountResult result = manager.DirectWriteByteData(bytes, count);
        put(written, result.count);
        return result.code;
    });
}

mova_code mova_retrive_com_port_data(mova_handset* handset, int32_t option, int32_t milliseconds, char* buffer,
                                     size_t capacity, size_t* length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return giveText(manager.RetriveComPortData(option, milliseconds), Code::Success, {buffer, capacity, length});
    });
}

// --- modem lines and flow control

mova_code mova_set_comm_signal(mova_handset* handset, int32_t index, int32_t value) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { return manager.SetCommSignal(index, value); });
}

mova_code mova_detect_comm_signal(mova_handset* handset, int32_t index, int32_t* value) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { put(value, manager.DetectCommSignal(index)); });
}

mova_code mova_switch_comm_flow_control_mode(mova_handset* handset, int32_t mode) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { manager.SwitchCommFlowControlMode(mode); });
}

// --- logging

mova_code mova_activate_mova_logging(mova_handset* handset, const char* file_name, size_t file_name_length,
                                     uint32_t start_tick, uint32_t request) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) {
        return manager.ActivateMovaLogging(textFrom(file_name, file_name_length), start_tick, request);
    });
}

mova_code mova_set_log_file_path(mova_handset* handset, const char* path, size_t path_length) noexcept {
    return onHandset(handset, [&](CVeCmdManager& manager) { manager.Set_Log_File_Path(textFrom(path, path_length)); });
}
