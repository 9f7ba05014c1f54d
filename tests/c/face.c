/* A C program on the C interface: face DEVICE FOLDER talks to the plain simulated handset on DEVICE and writes its files
 * into FOLDER. Ends with 0 when the library keeps what its header promises. */
#include <inttypes.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "mova/mova.h"

static int failures = 0;

static void expect_number(int line, const char* what, long long got, long long wanted) {
    if (got == wanted) return;
    printf("%d: %s is %lld (0x%llX), not %lld (0x%llX)\n", line, what, got, (unsigned long long)got, wanted,
           (unsigned long long)wanted);
    ++failures;
}

static void expect_text(int line, const char* what, const char* got, const char* wanted) {
    if (strcmp(got, wanted) == 0) return;
    printf("%d: %s is \"%s\", not \"%s\"\n", line, what, got, wanted);
    ++failures;
}

#define IS(got, wanted) expect_number(__LINE__, #got, (long long)(got), (long long)(wanted))
#define READS(got, wanted) expect_text(__LINE__, #got, got, wanted)
/* A call that has a text: its code, the text in buffer, and the text's length. */
#define GIVES(call, code, text)             \
    do {                                    \
        memset(buffer, 'x', sizeof buffer); \
        buffer[sizeof buffer - 1] = '\0';   \
        length = 12345;                     \
        IS(call, code);                     \
        READS(buffer, text);                \
        IS(length, strlen(text));           \
    } while (0)
/* A call that has none: the buffer stays as it was. */
#define GIVES_NO_TEXT(call, code) \
    do {                          \
        strcpy(buffer, "kept");   \
        length = 12345;           \
        IS(call, code);           \
        READS(buffer, "kept");    \
        IS(length, 0);            \
    } while (0)

static char buffer[4096];
static size_t length;

static void rest(void) {
    const struct timespec tick = {0, 5000000};
    nanosleep(&tick, NULL);
}

/* Until so much waits in the port; machines are busy. */
static void await_bytes(mova_handset* handset, int32_t wanted) {
    for (int tries = 0; tries < 24000; ++tries) {
        int32_t waiting = -1;
        IS(mova_direct_query_data_in_queue(handset, &waiting), MOVA_SUCCESS);
        if (waiting >= wanted) return;
        rest();
    }
    IS(0, wanted);
}

static void codes_have_texts(void) {
    READS(mova_code_text(MOVA_NO_ANSWER), "no (accepted) answer within the time");
    READS(mova_code_name(MOVA_NO_ANSWER), "NoAnswer");
    READS(mova_code_text(0x8202), "E2P status 3");
    READS(mova_code_name(0x8202), "E2pStatus3");
    READS(mova_code_text(MOVA_E2P_STATUS_20), "E2P status 20");
    READS(mova_code_text(0), "success");
    READS(mova_code_text(0x8007000E), "out of memory");
    READS(mova_code_name(0x80070057), "InvalidArgument");
    READS(mova_code_name(0x8007007A), "BufferTooSmall");
    READS(mova_code_name(0x80004005), "Failed");
    READS(mova_code_text(1), "");
    READS(mova_code_name(0xFFFFFFFF), "");
}

static void numbers_are_what_hosts_know(void) {
    IS(MOVA_NOT_OPEN, 0x4000);
    IS(MOVA_WRONG_ARRAY_TYPE, 0x3001);
    IS(MOVA_WIFI_STATUS_2, 0xD381);
    IS(MOVA_OUT_OF_MEMORY, 0x8007000ELL);
    IS(MOVA_MODE_BACKGROUND_OK, 5);
    IS(MOVA_TIMEOUT_ACKNOWLEDGEMENT, 4);
    IS(MOVA_INPUT_WHOLE_STATUS, -1);
}

static void a_null_handle_is_refused(void) {
    mova_handset* const no = NULL;
    const mova_code refused = 0x80070057;
    int32_t value = 77;
    uint32_t word = 77;
    uint8_t byte = 77;
    strcpy(buffer, "kept");
    length = 77;
    mova_destroy(NULL);
    IS(mova_create(NULL, NULL, NULL), refused);
    IS(mova_get_baud_rate(no, &value), refused);
    IS(mova_put_baud_rate(no, 1), refused);
    IS(mova_get_comm_port_id(no, &value), refused);
    IS(mova_put_comm_port_id(no, 1), refused);
    IS(mova_init_cmd_manager(no, 0), refused);
    IS(mova_proprietary_open_com_port(no, 0), refused);
    IS(mova_reset_cmd_manager(no, 0), refused);
    IS(mova_proprietary_close_com_port(no, 0), refused);
    IS(mova_is_comm_device_open(no, &value), refused);
    IS(mova_get_device_handle(no, &value), refused);
    IS(mova_set_device_handle(no, 0), refused);
    IS(mova_set_comm_device_type(no, 0, 1, 1), refused);
    IS(mova_assign_timeout_constant(no, 1, 1), refused);
    IS(mova_set_general_param(no, 1, 2, 3, 4, 5, 6), refused);
    IS(mova_get_cmp_version(no, 1, buffer, sizeof buffer, &length), refused);
    IS(mova_rf_general_test_req(no, 1, 2), refused);
    IS(mova_rf_change_param_req(no, 1, 2, 3, 4), refused);
    IS(mova_rf_change_table_req(no, 1, 2, 3, 1, &byte, 1), refused);
    IS(mova_rf_test_case_req(no, 1, 2), refused);
    IS(mova_vb_rf_var_req(no, 1, 2, "1,2,3", MOVA_TO_ZERO), refused);
    IS(mova_fetch_queued_cnf_item(no, &word, &word, &word, buffer, sizeof buffer, &length), refused);
    IS(mova_fetch_queued_cnf_text_item(no, &word, &word, &word, buffer, sizeof buffer, &length), refused);
    IS(mova_clear_queue(no), refused);
    IS(mova_send_normal_at_cmd(no, 0, "AT", 2), refused);
    IS(mova_get_normal_at_result(no, 2, buffer, sizeof buffer, &length), refused);
    IS(mova_set_at_cmd_property(no, 1, 0), refused);
    IS(mova_switch_operate_mode(no, 3, 0), refused);
    IS(mova_specific_info(no, 2, 0, "", 0, buffer, sizeof buffer, &length), refused);
    IS(mova_read_e2p_object(no, 1, 1, buffer, sizeof buffer, &length), refused);
    IS(mova_read_whole_e2p_object(no, 1, 1, buffer, sizeof buffer, &length), refused);
    IS(mova_write_e2p_object(no, 1, 1, "00", 2, buffer, sizeof buffer, &length), refused);
    IS(mova_send_e2p_passwd(no, 1, 1, "00", 2, buffer, sizeof buffer, &length), refused);
    IS(mova_send_auth_req(no, 1, 1, buffer, sizeof buffer, &length), refused);
    IS(mova_send_auth_key(no, 1, 1, "00", 2, buffer, sizeof buffer, &length), refused);
    IS(mova_send_serial_number(no, 1, 1, "00", 2, buffer, sizeof buffer, &length), refused);
    IS(mova_send_hash_req(no, 1, 1, buffer, sizeof buffer, &length), refused);
    IS(mova_send_lock_otp(no, 1, 1, buffer, sizeof buffer, &length), refused);
    IS(mova_read_e2p_object_ex(no, 1, 1, 0, &value, buffer, sizeof buffer, &length), refused);
    IS(mova_write_e2p_object_ex(no, 1, 1, 0, &value, "00", 2), refused);
    IS(mova_hci_action(no, 0, "00", 2, buffer, sizeof buffer, &length), refused);
    IS(mova_wifi_action(no, 0, "00", 2, buffer, sizeof buffer, &length), refused);
    IS(mova_direct_write_hex_data(no, "00", 2, 1, &value), refused);
    IS(mova_direct_read_hex_data(no, 1, &value, buffer, sizeof buffer, &length), refused);
    IS(mova_direct_query_data_in_queue(no, &value), refused);
    IS(mova_direct_write_ascii_data(no, &byte, 1, 1, &value), refused);
    IS(mova_direct_read_ascii_data(no, &byte, 1, 1, &value), refused);
    IS(mova_direct_write_byte_data(no, &byte, 1, &value), refused);
    IS(mova_retrive_com_port_data(no, 3, 0, buffer, sizeof buffer, &length), refused);
    IS(mova_set_comm_signal(no, 1, 1), refused);
    IS(mova_detect_comm_signal(no, 0, &value), refused);
    IS(mova_switch_comm_flow_control_mode(no, 8), refused);
    IS(mova_activate_mova_logging(no, "", 0, 0, 0), refused);
    IS(mova_set_log_file_path(no, "", 0), refused);
    IS(mova_unread_text(buffer, sizeof buffer, &length), refused); /* there is none */
    IS(value, 77);
    IS(word, 77);
    IS(byte, 77);
    IS(length, 77);
    READS(buffer, "kept");
}

/* Results that nobody wants, on a port that is closed and on one that is open. */
static void nothing_is_written_where_nothing_is_wanted(mova_handset* handset) {
    IS(mova_get_baud_rate(handset, NULL), 0);
    IS(mova_get_comm_port_id(handset, NULL), 0);
    IS(mova_is_comm_device_open(handset, NULL), 0);
    IS(mova_get_device_handle(handset, NULL), 0);
    IS(mova_get_cmp_version(handset, 1, NULL, 0, NULL), 0);
    IS(mova_fetch_queued_cnf_item(handset, NULL, NULL, NULL, NULL, 0, NULL), 0);
    IS(mova_fetch_queued_cnf_text_item(handset, NULL, NULL, NULL, NULL, 0, NULL), 0);
    IS(mova_get_normal_at_result(handset, 2, NULL, 0, NULL), 0);
    IS(mova_specific_info(handset, 99, 0, NULL, 0, NULL, 0, NULL), MOVA_UNKNOWN_OPTION);
    IS(mova_hci_action(handset, 99, NULL, 0, NULL, 0, NULL), MOVA_UNKNOWN_OPTION);
    IS(mova_direct_query_data_in_queue(handset, NULL), 0);
    IS(mova_direct_write_byte_data(handset, NULL, 5, NULL), 0);
    IS(mova_detect_comm_signal(handset, 99, NULL), 0);
    IS(mova_retrive_com_port_data(handset, 99, 0, NULL, 0, NULL), 0);
}

static void hostile_arguments_do_no_harm(mova_handset* handset) {
    const mova_code refused = 0x80070057;
    int32_t value = 77;
    /* Lengths that no text has, and lengths of no text. */
    IS(mova_send_normal_at_cmd(handset, 0, NULL, 3), refused);
    IS(mova_send_normal_at_cmd(handset, 0, "AT", SIZE_MAX - 1), refused);
    IS(mova_send_normal_at_cmd(handset, 0, "AT", (size_t)INT32_MAX + 1), refused);
    IS(mova_send_normal_at_cmd(handset, 0, NULL, MOVA_TO_ZERO), MOVA_BAD_AT_COMMAND);
    IS(mova_send_normal_at_cmd(handset, 0, NULL, 0), MOVA_BAD_AT_COMMAND);
    IS(mova_vb_rf_var_req(handset, 1, 2, NULL, 1), refused);
    IS(mova_specific_info(handset, 1, 1, NULL, 1, NULL, 0, NULL), refused);
    IS(mova_write_e2p_object(handset, 0x1234, 2, NULL, 1, NULL, 0, NULL), refused);
    IS(mova_send_e2p_passwd(handset, 1, 1, NULL, 1, NULL, 0, NULL), refused);
    IS(mova_send_auth_key(handset, 1, 1, NULL, 1, NULL, 0, NULL), refused);
    IS(mova_send_serial_number(handset, 1, 1, NULL, 1, NULL, 0, NULL), refused);
    IS(mova_write_e2p_object_ex(handset, 1, 1, 0, &value, NULL, 1), refused);
    IS(mova_hci_action(handset, 0, NULL, 1, NULL, 0, NULL), refused);
    IS(mova_wifi_action(handset, 0, NULL, 1, NULL, 0, NULL), refused);
    IS(mova_direct_write_hex_data(handset, NULL, 1, 1, &value), refused);
    IS(mova_activate_mova_logging(handset, NULL, 1, 0, 1), refused);
    IS(mova_set_log_file_path(handset, NULL, 1), refused);
    /* Arrays that are not there. */
    IS(mova_direct_write_ascii_data(handset, NULL, 5, 5, &value), refused);
    IS(mova_direct_read_ascii_data(handset, NULL, 5, 5, &value), refused);
    IS(value, 77);
    IS(mova_rf_change_table_req(handset, 1, 2, 3, 9, NULL, 9), MOVA_WRONG_ARRAY_TYPE);
    IS(mova_direct_write_byte_data(handset, NULL, INT32_MAX, &value), 0);
    IS(value, 0);
    /* Numbers from their ends. */
    IS(mova_direct_read_hex_data(handset, INT32_MIN, &value, buffer, sizeof buffer, &length), 0);
    IS(value, 0);
    IS(mova_direct_read_ascii_data(handset, NULL, 0, INT32_MIN, &value), 0);
    IS(mova_direct_write_hex_data(handset, "00", 2, INT32_MIN, &value), 0);
    IS(value, 0);
    IS(mova_assign_timeout_constant(handset, INT32_MIN, INT32_MIN), 0);
    IS(mova_set_at_cmd_property(handset, UINT32_MAX, UINT32_MAX), MOVA_UNKNOWN_PROPERTY);
    IS(mova_specific_info(handset, INT32_MIN, INT32_MAX, "", 0, buffer, sizeof buffer, &length), MOVA_UNKNOWN_OPTION);
    IS(mova_hci_action(handset, INT32_MAX, "", 0, buffer, sizeof buffer, &length), MOVA_UNKNOWN_OPTION);
    value = INT32_MIN;
    GIVES(mova_read_e2p_object_ex(handset, 0x1234, 2, INT32_MIN, &value, buffer, sizeof buffer, &length), 0, "");
    IS(value, 0);
    value = INT32_MAX;
    GIVES(mova_read_e2p_object_ex(handset, 0x1234, 2, INT32_MAX, &value, buffer, sizeof buffer, &length), 0, "");
    IS(value, 0);
}

static void a_text_that_does_not_fit_is_kept(mova_handset* handset) {
    char small[5] = "kept";
    GIVES(mova_write_e2p_object(handset, 0x1234, 2, "AA0B", MOVA_TO_ZERO, buffer, sizeof buffer, &length), 0, "AA0B");
    length = 77;
    IS(mova_read_e2p_object(handset, 0x1234, 2, small, 4, &length), MOVA_BUFFER_TOO_SMALL); /* no room for the zero */
    READS(small, "kept");
    IS(length, 4);
    IS(mova_unread_text(small, 4, &length), MOVA_BUFFER_TOO_SMALL);
    READS(small, "kept");
    IS(mova_unread_text(small, 5, &length), MOVA_SUCCESS);
    READS(small, "AA0B");
    IS(mova_unread_text(small, 5, &length), MOVA_INVALID_ARGUMENT); /* it is written now */
    IS(mova_read_e2p_object(handset, 0x1234, 2, small, 5, &length), MOVA_SUCCESS);
    READS(small, "AA0B");
    /* Asked for its length first. */
    IS(mova_read_e2p_object(handset, 0x1234, 2, NULL, 0, &length), MOVA_SUCCESS);
    IS(length, 4);
    IS(mova_unread_text(NULL, 0, NULL), MOVA_SUCCESS);
    GIVES(mova_unread_text(buffer, length + 1, &length), 0, "AA0B");
    /* The code of a failure with a text comes with the text. */
    IS(mova_hci_action(handset, 1, "", 0, small, 0, &length), MOVA_BUFFER_TOO_SMALL);
    const size_t needed = length;
    const mova_code code = mova_unread_text(buffer, sizeof buffer, &length);
    IS(length, needed);
    IS(code, mova_hci_action(handset, 1, "", 0, buffer, sizeof buffer, &length));
    IS(length, needed);
    /* What is kept goes with the next call that could have a text. */
    IS(mova_read_e2p_object(handset, 0x1234, 2, small, 1, &length), MOVA_BUFFER_TOO_SMALL);
    GIVES_NO_TEXT(mova_read_e2p_object(handset, 0x7777, 1, buffer, sizeof buffer, &length), 0x8202);
    IS(mova_unread_text(buffer, sizeof buffer, &length), MOVA_INVALID_ARGUMENT);
}

static void the_port(mova_handset* handset, const char* folder) {
    int32_t value = 77;
    GIVES(mova_get_cmp_version(handset, 1, buffer, sizeof buffer, &length), 0, "<MovaCmdSvr Ver 1.8.6>");
    IS(mova_get_baud_rate(handset, &value), 0);
    IS(value, 115200);
    IS(mova_put_baud_rate(handset, 9600), 0);
    IS(mova_get_baud_rate(handset, &value), 0);
    IS(value, 9600);
    IS(mova_put_comm_port_id(handset, 9), 0);
    IS(mova_get_comm_port_id(handset, &value), 0);
    IS(value, 9);
    IS(mova_is_comm_device_open(handset, &value), 0);
    IS(value, 0);
    IS(mova_get_device_handle(handset, &value), 0);
    IS(value, -1);
    IS(mova_init_cmd_manager(handset, 0), MOVA_NOT_OPEN); /* the device is port 1 and no other */
    IS(mova_set_comm_device_type(handset, 1, 0, 0), 0);
    value = 77;
    IS(mova_get_device_handle(handset, &value), 0);
    IS(value, 77); /* another device type has no port */
    IS(mova_set_device_handle(handset, 0), MOVA_NOT_SERIAL);
    IS(mova_set_comm_device_type(handset, 0, 1, 115200), 0);
    IS(mova_set_general_param(handset, 1, 2, 3, 4, 5, 6), 0);
    IS(mova_assign_timeout_constant(handset, MOVA_TIMEOUT_ACKNOWLEDGEMENT, 100000), 0);
    IS(mova_assign_timeout_constant(handset, MOVA_TIMEOUT_RF_ACKNOWLEDGEMENT, 100000), 0);

    char path[4096];
    snprintf(path, sizeof path, "%s/trace.log", folder);
    IS(mova_activate_mova_logging(handset, path, strlen(path), 0, MOVA_START_TRACE), 0);
    snprintf(path, sizeof path, "%s/handset.log", folder);
    IS(mova_set_log_file_path(handset, path, MOVA_TO_ZERO), 0);

    IS(mova_init_cmd_manager(handset, 0), 0);
    IS(mova_is_comm_device_open(handset, &value), 0);
    IS(value, 1);
    IS(mova_get_device_handle(handset, &value), 0);
    IS(value >= 0, 1);
    IS(mova_set_device_handle(handset, value), MOVA_ALREADY_OPEN);
    IS(mova_set_comm_signal(handset, MOVA_OUTPUT_DTR, 1), MOVA_SIGNAL_NOT_SET); /* a pseudo-terminal has no lines */
    value = 77;
    IS(mova_detect_comm_signal(handset, 4, &value), 0);
    IS(value, 0);
    IS(mova_switch_comm_flow_control_mode(handset, MOVA_FLOW_CONTROL_NONE), 0);
}

static void at_commands(mova_handset* handset) {
    IS(mova_send_normal_at_cmd(handset, 0, "AT+CSQ...", 6), 0);
    await_bytes(handset, 28); /* the echo, the information and the result */
    GIVES(mova_get_normal_at_result(handset, MOVA_COLLECT_TEXT_AND_PENDING, buffer, sizeof buffer, &length), 0,
          "AT+CSQ\r~+CSQ: 21,99~OK~");
    IS(mova_set_at_cmd_property(handset, MOVA_PROPERTY_ECHO + MOVA_PROPERTY_WAITS, 0), 0);
    IS(mova_switch_operate_mode(handset, MOVA_MODE_BACKGROUND, 0), 0);
    GIVES(mova_get_normal_at_result(handset, 2, buffer, sizeof buffer, &length), MOVA_NOT_SYNCHRONOUS, "");
    IS(mova_switch_operate_mode(handset, MOVA_MODE_SYNCHRONOUS_OK, 0), 0);
    GIVES(mova_specific_info(handset, MOVA_INFO_IMEI, MOVA_ACCESS_READ, "", 0, buffer, sizeof buffer, &length), 0,
          "490154203237518");
}

static void requests(mova_handset* handset) {
    const uint8_t table[] = {0x0A, 0x0B};
    uint32_t remained = 77;
    uint32_t count = 77;
    uint32_t error = 77;
    int32_t range = 9;
    IS(mova_rf_general_test_req(handset, 5, 0x4241), 0);
    length = 0;
    IS(mova_fetch_queued_cnf_item(handset, &remained, &count, &error, buffer, sizeof buffer, &length), 0);
    IS(count, 4);
    IS(error, 0);
    IS(length, 4);
    IS(memcmp(buffer, "\x05\x00\x41\x42", 5), 0);
    IS(mova_rf_general_test_req(handset, 5, 0x0102), 0);
    GIVES(mova_fetch_queued_cnf_text_item(handset, &remained, &count, &error, buffer, sizeof buffer, &length), 0,
          "05000201");
    IS(count, 8);
    GIVES(mova_fetch_queued_cnf_text_item(handset, &remained, &count, &error, buffer, sizeof buffer, &length), 0, "");
    IS(count, 0);
    IS(mova_rf_change_param_req(handset, 1, 2, 3, 4), 0);
    IS(mova_rf_change_table_req(handset, 1, 2, 3, 2, table, sizeof table), 0);
    IS(mova_rf_test_case_req(handset, 7, 1), 0);
    IS(mova_vb_rf_var_req(handset, MOVA_RF_REQUEST_TEST_CASE, 7, "1", 1), 0);
    IS(mova_clear_queue(handset), 0);

    GIVES(mova_write_e2p_object(handset, 0x1234, 2, "aa0b", 4, buffer, sizeof buffer, &length), 0, "AA0B");
    GIVES(mova_read_e2p_object(handset, 0x1234, 2, buffer, sizeof buffer, &length), 0, "AA0B");
    GIVES(mova_read_whole_e2p_object(handset, 0x1234, 2, buffer, sizeof buffer, &length), 0, "AA0B");
    GIVES(mova_read_e2p_object_ex(handset, 0x1234, 2, 2, &range, buffer, sizeof buffer, &length), 0, "0B");
    IS(range, 2);
    range = 9;
    IS(mova_write_e2p_object_ex(handset, 0x1234, 2, 2, &range, "0C", 2), 0);
    IS(range, 2);
    GIVES(mova_read_e2p_object(handset, 0x1234, 2, buffer, sizeof buffer, &length), 0, "AA0C");
    GIVES(mova_send_e2p_passwd(handset, 1, 1, "0102", 4, buffer, sizeof buffer, &length), 0, "0102");
    GIVES(mova_send_auth_req(handset, 1, 1, buffer, sizeof buffer, &length), 0, "0123456789ABCDEF");
    GIVES(mova_send_auth_key(handset, 1, 1, "0304", 4, buffer, sizeof buffer, &length), 0, "0304");
    GIVES(mova_send_serial_number(handset, 1, 1, "0506", 4, buffer, sizeof buffer, &length), 0, "0506");
    GIVES(mova_send_hash_req(handset, 1, 1, buffer, sizeof buffer, &length), 0,
          "5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A");
    GIVES(mova_send_lock_otp(handset, 1, 1, buffer, sizeof buffer, &length), 0, "");
    GIVES(mova_hci_action(handset, 0, "0102", 4, buffer, sizeof buffer, &length), 0, "000102");
    GIVES(mova_wifi_action(handset, 0x21, "AABB", 4, buffer, sizeof buffer, &length), 0, "AABB");
}

static void raw_bytes(mova_handset* handset) {
    uint8_t array[8] = "kept";
    int32_t moved = 77;
    IS(mova_direct_write_hex_data(handset, "41540D41", 8, 3, &moved), 0);
    IS(moved, 3);
    await_bytes(handset, 6);
    IS(mova_direct_read_ascii_data(handset, array, 3, 100, &moved), 0); /* no more than the array holds */
    IS(moved, 3);
    IS(memcmp(array, "\r\nOt", 4), 0);
    GIVES(mova_direct_read_hex_data(handset, 100, &moved, buffer, sizeof buffer, &length), 0, "4B0D0A");
    IS(moved, 3);
    GIVES_NO_TEXT(mova_direct_read_hex_data(handset, 100, &moved, buffer, sizeof buffer, &length), 0);
    IS(moved, 0);
    IS(mova_direct_write_ascii_data(handset, (const uint8_t*)"AT\rAT", 3, 100, &moved), 0);
    IS(moved, 3);
    await_bytes(handset, 6);
    IS(mova_clear_queue(handset), 0);
    IS(mova_direct_write_byte_data(handset, (const uint8_t*)"\n", 1, &moved), 0);
    IS(moved, 1);
    GIVES(mova_retrive_com_port_data(handset, MOVA_COLLECT_RAW_DATA, 0, buffer, sizeof buffer, &length), 0, "NULL");
    GIVES_NO_TEXT(mova_retrive_com_port_data(handset, 2, 0, buffer, sizeof buffer, &length), 0);
}

/* What the callbacks were told. */
struct heard {
    atomic_int answers;
    atomic_int started;
    atomic_int ended;
    mova_handset* handset;
    char text[64];
};

static void on_confirmation(void* user, int32_t type, const char* text, size_t text_length) {
    struct heard* const heard = user;
    if (type != 1 || strlen(text) != text_length || text_length == 0 || atomic_load(&heard->answers) != 0) return;
    int32_t open = 0;
    if (mova_is_comm_device_open(heard->handset, &open) != MOVA_SUCCESS || open != 1) return;
    snprintf(heard->text, sizeof heard->text, "%s", text);
    atomic_store(&heard->answers, 1);
}

static void on_started(void* user) { atomic_fetch_add(&((struct heard*)user)->started, 1); }
static void on_ended(void* user) { atomic_fetch_add(&((struct heard*)user)->ended, 1); }
static void on_let_calls_in(void* user) { (void)user; }

static void events_are_told(const char* device) {
    struct heard heard = {0};
    const mova_events events = {&heard, on_confirmation, on_started, on_ended, on_let_calls_in};
    IS(mova_create(device, &events, &heard.handset), 0);
    IS(mova_init_cmd_manager(heard.handset, 0), 0);
    IS(mova_switch_operate_mode(heard.handset, MOVA_MODE_EVENTS, 0), 0);
    IS(mova_rf_general_test_req(heard.handset, 5, 0x0102), 0);
    for (int tries = 0; tries < 24000 && atomic_load(&heard.answers) == 0; ++tries) rest();
    IS(atomic_load(&heard.answers), 1);
    READS(heard.text, "05000201");
    mova_destroy(heard.handset); /* closes the port and ends the reader */
    IS(atomic_load(&heard.started), 1);
    IS(atomic_load(&heard.ended), 1);

    const mova_events none = {0}; /* a listener that listens to nothing */
    IS(mova_create(device, &none, &heard.handset), 0);
    IS(mova_init_cmd_manager(heard.handset, 0), 0);
    IS(mova_switch_operate_mode(heard.handset, MOVA_MODE_EVENTS, 0), 0);
    IS(mova_rf_general_test_req(heard.handset, 5, 0x0102), 0);
    mova_destroy(heard.handset);
}

static void destroy_in_confirmation(void* user, int32_t type, const char* text, size_t text_length) {
    struct heard* const heard = user;
    (void)type;
    (void)text;
    if (text_length == 0 || atomic_fetch_add(&heard->answers, 1) != 0) return;
    while (atomic_load(&heard->started) == 0) rest(); /* no other call may be under way */
    mova_destroy(heard->handset);
    atomic_store(&heard->ended, 1);
}

static void a_callback_may_destroy_its_handle(const char* device) {
    static struct heard heard; /* the reader's end is told when this function is over, perhaps */
    const mova_events events = {&heard, destroy_in_confirmation, NULL, NULL, NULL};
    IS(mova_create(device, &events, &heard.handset), 0);
    IS(mova_init_cmd_manager(heard.handset, 0), 0);
    IS(mova_switch_operate_mode(heard.handset, MOVA_MODE_EVENTS, 0), 0);
    IS(mova_send_normal_at_cmd(heard.handset, 0, "AT+CSQ", MOVA_TO_ZERO), 0);
    atomic_store(&heard.started, 1);
    for (int tries = 0; tries < 24000 && atomic_load(&heard.ended) == 0; ++tries) rest();
    IS(atomic_load(&heard.ended), 1);
    mova_handset* next = NULL; /* the port is free again */
    IS(mova_create(device, NULL, &next), 0);
    IS(mova_init_cmd_manager(next, 0), 0);
    mova_destroy(next);
}

static void ports_go_by_their_numbers(void) {
    mova_handset* handset = NULL;
    int32_t open = 77;
    IS(mova_create(NULL, NULL, &handset), 0);
    IS(mova_put_comm_port_id(handset, 7), 0);
    IS(mova_init_cmd_manager(handset, 0), 0);
    IS(mova_reset_cmd_manager(handset, 0), 0);
    IS(mova_proprietary_open_com_port(handset, 0), 0);
    IS(mova_proprietary_close_com_port(handset, 0), 0);
    IS(mova_is_comm_device_open(handset, &open), 0);
    IS(open, 0);
    IS(mova_put_comm_port_id(handset, 8), 0);
    IS(mova_init_cmd_manager(handset, 0), MOVA_NOT_OPEN);
    mova_destroy(handset);
    handset = (mova_handset*)&open;
    for (int i = 0; i < 2; ++i) { /* paths that lead to no device */
        IS(mova_create(i == 0 ? "" : "/no/such/device", NULL, &handset), 0);
        IS(mova_init_cmd_manager(handset, 0), MOVA_NOT_OPEN);
        mova_destroy(handset);
    }
}

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    codes_have_texts();
    numbers_are_what_hosts_know();
    a_null_handle_is_refused();
    mova_handset* handset = NULL;
    IS(mova_create(argv[1], NULL, &handset), 0);
    if (handset == NULL) return 1;
    nothing_is_written_where_nothing_is_wanted(handset);
    the_port(handset, argv[2]);
    at_commands(handset);
    requests(handset);
    raw_bytes(handset);
    a_text_that_does_not_fit_is_kept(handset);
    hostile_arguments_do_no_harm(handset);
    nothing_is_written_where_nothing_is_wanted(handset);
    mova_destroy(handset);
    events_are_told(argv[1]);
    a_callback_may_destroy_its_handle(argv[1]);
    ports_go_by_their_numbers();
    if (failures == 0) printf("all as promised\n");
    return failures == 0 ? 0 : 1;
}
