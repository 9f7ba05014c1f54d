/* The C interface of the library, for C programs and for languages that bind to C: one function for each method of the
 * class CVeCmdManager, under the method's name in small letters. What a method does is told in mova/CVeCmdManager.h and,
 * entry by entry, in the reference; here stands what is C's own.
 *
 * Handle    One handle drives one handset on a serial port. A null handle is MOVA_INVALID_ARGUMENT and nothing happens;
 *           any other pointer that mova_create did not give, or that was destroyed, is the caller's fault.
 * Codes     Every function that can fail returns its outcome: 0 (MOVA_SUCCESS) or what went wrong. mova/Numbers.h has the
 *           codes of the methods; four more are C's own (below). No exception leaves a function.
 * Results   go where the caller's pointers say. Every such pointer may be null: that result is not wanted. Before a
 *           function writes anything it has all the memory that it needs: MOVA_OUT_OF_MEMORY, MOVA_INVALID_ARGUMENT and
 *           MOVA_FAILED leave everything untouched.
 * Texts in  are a pointer and a length in bytes, or MOVA_TO_ZERO for a text that ends with a zero. A null pointer with
 *           the length 0 or MOVA_TO_ZERO is the empty text; with another one, and for a length of more than 2 GB, the
 *           function gives MOVA_INVALID_ARGUMENT. Texts are 8-bit, as they travel on the line; hexadecimal text has two
 *           digits for each byte, in any case, and every other character counts as 0.
 * Texts out One rule for all functions with buffer, capacity and length: capacity is what buffer holds in bytes, and the
 *           text needs one more than its length, for a zero behind it. *length is the text's length without that zero,
 *           whether it fits or not; 0 where there is no text, and then buffer stays as it was. A text that does not fit
 *           is not written at all: the function gives MOVA_BUFFER_TOO_SMALL, and the whole text, with the code that
 *           the function would have given, is to be had from mova_unread_text, so that no request is sent twice and no
 *           record is lost. With a null buffer the function gives its own code, and the text is to be had there, too.
 * Units     Times are in milliseconds. Positions and lengths in E2P objects count characters of hexadecimal text.
 * Threads   Any thread may call; calls on one handle run one after another, an exchange from its first byte to its last
 *           wait. Only mova_reset_cmd_manager and mova_proprietary_close_com_port do not wait for a call that is under
 *           way: they end its wait (MOVA_STOPPED or MOVA_NO_ANSWER). A callback may call every function, mova_destroy
 *           of its own handle included. mova_destroy is the last call on its handle, and no other may be under way.
 */
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "mova/Export.h"
#include "mova/Numbers.h"

#ifdef __cplusplus
extern "C" {
#define MOVA_NOEXCEPT noexcept
#else
#define MOVA_NOEXCEPT
#endif

typedef struct mova_handset mova_handset;

typedef uint32_t mova_code; /* of mova_code_number, or one of these */
#define MOVA_OUT_OF_MEMORY UINT32_C(0x8007000E)
#define MOVA_INVALID_ARGUMENT UINT32_C(0x80070057)
#define MOVA_BUFFER_TOO_SMALL UINT32_C(0x8007007A)
#define MOVA_FAILED UINT32_C(0x80004005) /* something that the library does not expect of the system */

#define MOVA_TO_ZERO SIZE_MAX /* as the length of a text: up to the zero at its end */

/* What a code means, "no (accepted) answer within the time", and what it is called, "NoAnswer". The empty text for a
 * number that is no code, never null; the texts are there as long as the program. Any thread. */
MOVA_API const char* mova_code_text(mova_code code) MOVA_NOEXCEPT;
MOVA_API const char* mova_code_name(mova_code code) MOVA_NOEXCEPT;

/* --- the handle */

/* What is told of the handset's answers in MOVA_MODE_EVENTS. Each function may be null. All are called with no lock of
 * the handle held; user is handed on as it is. After mova_destroy has returned only reader_ended is still called, and
 * only when the reader thread was not waited for: a callback destroyed its own handle, or held the thread up for 2 s. */
typedef struct mova_events {
    void* user;
    /* One finished answer, in the order in which answers were completed; on the reader thread, or on the thread of a
     * call that waits. type is always 1. text has length characters and a zero behind, and is there during the call
     * alone: an AT answer on one line with "~" for each line end, or the hexadecimal data of a confirmation. */
    void (*confirmation)(void* user, int32_t type, const char* text, size_t length);
    /* Around the reader thread's life, on that thread. */
    void (*reader_started)(void* user);
    void (*reader_ended)(void* user);
    /* On a thread that waits for the reader thread's end, every 20 ms. */
    void (*let_calls_in)(void* user);
} mova_events;

/* Makes a handle. device: the path of a serial device ("/dev/ttyUSB0"), which is then port 1 and the only one; the path
 * is followed whenever the port is opened. Null: ports go by their numbers, n is the link /dev/COMn. events is copied;
 * null: there are none. Without a handle *handset is null: MOVA_OUT_OF_MEMORY. A null handset is MOVA_INVALID_ARGUMENT.
 * Any thread. */
MOVA_API mova_code mova_create(const char* device, const mova_events* events, mova_handset** handset) MOVA_NOEXCEPT;
/* Closes the port, ends the reader thread (waits at most 2 s for it, and not at all on that thread) and frees the
 * handle. A null handle is passed over. The last call on the handle. */
MOVA_API void mova_destroy(mova_handset* handset) MOVA_NOEXCEPT;

/* The text of this thread's last call that had one and did not write it, whatever its handle, and the code of that
 * call. It is kept until it is written here or another function with buffer, capacity and length is called on this
 * thread. MOVA_INVALID_ARGUMENT: there is none. */
MOVA_API mova_code mova_unread_text(char* buffer, size_t capacity, size_t* length) MOVA_NOEXCEPT;

/* --- port and lifecycle */

/* Bits per second, used at the next open; 115200 at first. */
MOVA_API mova_code mova_get_baud_rate(mova_handset* handset, int32_t* baud_rate) MOVA_NOEXCEPT;
MOVA_API mova_code mova_put_baud_rate(mova_handset* handset, int32_t baud_rate) MOVA_NOEXCEPT;
/* The n of COMn; 1 at first. A new number is kept only while the port is closed. */
MOVA_API mova_code mova_get_comm_port_id(mova_handset* handset, int32_t* port) MOVA_NOEXCEPT;
MOVA_API mova_code mova_put_comm_port_id(mova_handset* handset, int32_t port) MOVA_NOEXCEPT;
/* Empties the queue and opens the port; the first thing to call. An open port is closed first, which takes 500 ms.
 * option is ignored. MOVA_NOT_OPEN, MOVA_PORT_UNREADABLE, MOVA_NOT_CONFIGURED, MOVA_EVENT_MASK_NOT_SET;
 * MOVA_READER_NOT_STARTED: the port is open and stays so. */
MOVA_API mova_code mova_init_cmd_manager(mova_handset* handset, uint32_t option) MOVA_NOEXCEPT;
/* The same without emptying the queue; it does not count as the first mova_init_cmd_manager. */
MOVA_API mova_code mova_proprietary_open_com_port(mova_handset* handset, int32_t option) MOVA_NOEXCEPT;
/* Both the same: end waits and the background reading, empty the queue, close the port, which takes 500 ms. Do not wait
 * for a call that is under way. option is ignored. MOVA_NOT_CLOSED. */
MOVA_API mova_code mova_reset_cmd_manager(mova_handset* handset, uint32_t option) MOVA_NOEXCEPT;
MOVA_API mova_code mova_proprietary_close_com_port(mova_handset* handset, int32_t option) MOVA_NOEXCEPT;
MOVA_API mova_code mova_is_comm_device_open(mova_handset* handset, int32_t* open) MOVA_NOEXCEPT; /* 1 or 0 */
/* The port's file descriptor, -1 while it is closed. For a device type other than 0 *device stays as it was. */
MOVA_API mova_code mova_get_device_handle(mova_handset* handset, int32_t* device) MOVA_NOEXCEPT;
/* Lends the handle a port that is open already. MOVA_ALREADY_OPEN, MOVA_NOT_SERIAL: nothing is changed. */
MOVA_API mova_code mova_set_device_handle(mova_handset* handset, int32_t device) MOVA_NOEXCEPT;
/* type: mova_device. Of the serial port a positive port and baud_rate are taken over. Every other type has no port.
 * Time-outs 1 to 5 go back to their first values. Always MOVA_SUCCESS. */
MOVA_API mova_code mova_set_comm_device_type(mova_handset* handset, int16_t type, int32_t port,
                                             int32_t baud_rate) MOVA_NOEXCEPT;
/* option: mova_timeout. A value below 1 or above 200000 becomes 500; another option changes nothing. */
MOVA_API mova_code mova_assign_timeout_constant(mova_handset* handset, int32_t option,
                                                int32_t milliseconds) MOVA_NOEXCEPT;
/* Does nothing, whatever is given. */
MOVA_API mova_code mova_set_general_param(mova_handset* handset, uint32_t param1, uint32_t param2, uint32_t param3,
                                          int32_t param4, int32_t param5, int32_t param6) MOVA_NOEXCEPT;
/* option: mova_cmp. MOVA_CMP_BUILD: the date of the library's file; every other: "<MovaCmdSvr Ver ...>". */
MOVA_API mova_code mova_get_cmp_version(mova_handset* handset, int32_t option, char* buffer, size_t capacity,
                                        size_t* length) MOVA_NOEXCEPT;

/* --- RF tests: MOVA_NOT_INITIALISED, the codes of the port's write (MOVA_WRITE_TIMEOUT, MOVA_WRITE_FAILED,
 * MOVA_SHORT_WRITE, MOVA_NOT_OPEN, MOVA_STOPPED) and, in a synchronous mode, MOVA_NO_ANSWER. The answer data is a
 * confirmation in the queue. */

MOVA_API mova_code mova_rf_general_test_req(mova_handset* handset, uint8_t service, uint16_t index) MOVA_NOEXCEPT;
MOVA_API mova_code mova_rf_change_param_req(mova_handset* handset, uint8_t request, uint8_t access, uint16_t index,
                                            uint16_t parameter) MOVA_NOEXCEPT;
/* Sends the smallest of length, 1024 and array_size, in bytes. A null array is MOVA_WRONG_ARRAY_TYPE; nothing is
 * sent. */
MOVA_API mova_code mova_rf_change_table_req(mova_handset* handset, uint8_t request, uint8_t access, uint16_t index,
                                            uint16_t length, const uint8_t* array, size_t array_size) MOVA_NOEXCEPT;
MOVA_API mova_code mova_rf_test_case_req(mova_handset* handset, uint8_t request, uint8_t access) MOVA_NOEXCEPT;
/* kind: mova_rf_request; parameter: the values of that request in decimal, separated by ","; a table in hexadecimal. */
MOVA_API mova_code mova_vb_rf_var_req(mova_handset* handset, int32_t kind, uint8_t request, const char* parameter,
                                      size_t parameter_length) MOVA_NOEXCEPT;

/* --- confirmation queue */

/* Take the first RF confirmation: its bytes, or their hexadecimal text; the empty text when there is none. *remained:
 * records of every kind that are left. *count: bytes of data, of the text form characters; a half byte at the end of a
 * damaged confirmation is in the bytes and does not count. *error: always 0. */
MOVA_API mova_code mova_fetch_queued_cnf_item(mova_handset* handset, uint32_t* remained, uint32_t* count,
                                              uint32_t* error, char* buffer, size_t capacity,
                                              size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_fetch_queued_cnf_text_item(mova_handset* handset, uint32_t* remained, uint32_t* count,
                                                   uint32_t* error, char* buffer, size_t capacity,
                                                   size_t* length) MOVA_NOEXCEPT;
/* Takes in what waits, then empties port and queue. */
MOVA_API mova_code mova_clear_queue(mova_handset* handset) MOVA_NOEXCEPT;

/* --- AT commands */

/* Sends the command and a carriage return; does not wait for the answer. option is ignored. MOVA_BAD_AT_COMMAND:
 * nothing is sent. Else the codes of the port's write. */
MOVA_API mova_code mova_send_normal_at_cmd(mova_handset* handset, int32_t option, const char* command,
                                           size_t command_length) MOVA_NOEXCEPT;
/* What has arrived so far, on one line with "~" for each line end; the empty text when nothing has. Does not wait.
 * option: mova_collect. MOVA_NOT_SYNCHRONOUS: nothing is taken. */
MOVA_API mova_code mova_get_normal_at_result(mova_handset* handset, int32_t option, char* buffer, size_t capacity,
                                             size_t* length) MOVA_NOEXCEPT;
/* id: mova_property, or one with MOVA_PROPERTY_WAITS added. MOVA_UNKNOWN_PROPERTY: nothing is sent. */
MOVA_API mova_code mova_set_at_cmd_property(mova_handset* handset, uint32_t id, uint32_t parameter) MOVA_NOEXCEPT;
/* mode: mova_mode. A synchronous mode ends the reader thread (waits at most 2 s for it) and empties port and queue.
 * parameter is ignored. Always MOVA_SUCCESS. */
MOVA_API mova_code mova_switch_operate_mode(mova_handset* handset, uint32_t mode, uint32_t parameter) MOVA_NOEXCEPT;
/* option: mova_info; access: mova_access; parameter: of a write, the value. There is a text with MOVA_SUCCESS alone.
 * MOVA_UNKNOWN_OPTION: nothing is sent. */
MOVA_API mova_code mova_specific_info(mova_handset* handset, int32_t option, int32_t access, const char* parameter,
                                      size_t parameter_length, char* buffer, size_t capacity,
                                      size_t* length) MOVA_NOEXCEPT;

/* --- E2P objects: texts are hexadecimal; there is one with MOVA_SUCCESS alone. MOVA_NOT_OPEN, the codes of the
 * port's write, MOVA_NO_ANSWER, MOVA_E2P_STATUS_..., MOVA_WRONG_... A reply that lost a segment can be MOVA_SUCCESS
 * with its text cut short; mova_read_whole_e2p_object does not take such a reply (MOVA_WRONG_DATA_LENGTH). */

MOVA_API mova_code mova_read_e2p_object(mova_handset* handset, int32_t object, int32_t record, char* buffer,
                                        size_t capacity, size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_read_whole_e2p_object(mova_handset* handset, int32_t object, int32_t record, char* buffer,
                                              size_t capacity, size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_write_e2p_object(mova_handset* handset, int32_t object, int32_t record, const char* hex,
                                         size_t hex_length, char* buffer, size_t capacity,
                                         size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_send_e2p_passwd(mova_handset* handset, int32_t object, int32_t record, const char* hex,
                                        size_t hex_length, char* buffer, size_t capacity, size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_send_auth_req(mova_handset* handset, int32_t object, int32_t record, char* buffer,
                                      size_t capacity, size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_send_auth_key(mova_handset* handset, int32_t object, int32_t record, const char* hex,
                                      size_t hex_length, char* buffer, size_t capacity, size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_send_serial_number(mova_handset* handset, int32_t object, int32_t record, const char* hex,
                                           size_t hex_length, char* buffer, size_t capacity,
                                           size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_send_hash_req(mova_handset* handset, int32_t object, int32_t record, char* buffer,
                                      size_t capacity, size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_send_lock_otp(mova_handset* handset, int32_t option, int32_t record, char* buffer,
                                      size_t capacity, size_t* length) MOVA_NOEXCEPT;
/* A part of the object, in characters. *range: in the wanted length, out the length that there is; null counts as 0,
 * and it stays as it was when the object could not be read. Negative positions and lengths count as 0. */
MOVA_API mova_code mova_read_e2p_object_ex(mova_handset* handset, int32_t object, int32_t record, int32_t start,
                                           int32_t* range, char* buffer, size_t capacity, size_t* length) MOVA_NOEXCEPT;
/* Reads the object, lays hex over a part of it and writes it back; it never becomes longer. There is no text. */
MOVA_API mova_code mova_write_e2p_object_ex(mova_handset* handset, int32_t object, int32_t record, int32_t start,
                                            int32_t* range, const char* hex, size_t hex_length) MOVA_NOEXCEPT;

/* --- Bluetooth controller and WiFi: a reply can be cut short with MOVA_SUCCESS, as that of an E2P object. */

/* Options 0, 4, 5 and 16 send the command; 1, 2 and 3 send none. There is a text with MOVA_SUCCESS, and with
 * MOVA_WRONG_COMMAND_ECHO and MOVA_HCI_STATUS where there is a reply. MOVA_UNKNOWN_OPTION: nothing is sent. */
MOVA_API mova_code mova_hci_action(mova_handset* handset, int32_t option, const char* hex_command,
                                   size_t hex_command_length, char* buffer, size_t capacity,
                                   size_t* length) MOVA_NOEXCEPT;
/* MOVA_WIFI_STATUS_1, MOVA_WIFI_STATUS_2, MOVA_WRONG_COMMAND_ECHO; there is a text with MOVA_SUCCESS alone. */
MOVA_API mova_code mova_wifi_action(mova_handset* handset, uint8_t command, const char* hex_parameter,
                                    size_t hex_parameter_length, char* buffer, size_t capacity,
                                    size_t* length) MOVA_NOEXCEPT;

/* --- raw port access: *written and *read are bytes that were moved. */

/* At most count bytes of the text. The codes of the port's write. */
MOVA_API mova_code mova_direct_write_hex_data(mova_handset* handset, const char* hex, size_t hex_length, int32_t count,
                                              int32_t* written) MOVA_NOEXCEPT;
/* What waits in the port, at most count bytes, as hexadecimal text; does not wait. No text when nothing was read. */
MOVA_API mova_code mova_direct_read_hex_data(mova_handset* handset, int32_t count, int32_t* read, char* buffer,
                                             size_t capacity, size_t* length) MOVA_NOEXCEPT;
MOVA_API mova_code mova_direct_query_data_in_queue(mova_handset* handset, int32_t* waiting) MOVA_NOEXCEPT;
/* Move at most count bytes and no more than array_size. A null array with a size is MOVA_INVALID_ARGUMENT. Writing is
 * always MOVA_SUCCESS: only *written tells. */
MOVA_API mova_code mova_direct_write_ascii_data(mova_handset* handset, const uint8_t* array, size_t array_size,
                                                int32_t count, int32_t* written) MOVA_NOEXCEPT;
MOVA_API mova_code mova_direct_read_ascii_data(mova_handset* handset, uint8_t* array, size_t array_size, int32_t count,
                                               int32_t* read) MOVA_NOEXCEPT;
/* bytes holds count bytes; a null pointer or a count below 1 writes nothing. */
MOVA_API mova_code mova_direct_write_byte_data(mova_handset* handset, const uint8_t* bytes, int32_t count,
                                               int32_t* written) MOVA_NOEXCEPT;
/* option MOVA_COLLECT_RAW_DATA: what comes within the duration (at most 1000 ms, 2048 bytes) as hexadecimal text, or
 * "NULL". No text for another option, and when the port is not open. Always MOVA_SUCCESS. */
MOVA_API mova_code mova_retrive_com_port_data(mova_handset* handset, int32_t option, int32_t milliseconds, char* buffer,
                                              size_t capacity, size_t* length) MOVA_NOEXCEPT;

/* --- modem lines and flow control */

/* index: mova_output_signal; value 0 lowers the line, every other raises it. MOVA_NOT_OPEN, MOVA_SIGNAL_NOT_SET. */
MOVA_API mova_code mova_set_comm_signal(mova_handset* handset, int32_t index, int32_t value) MOVA_NOEXCEPT;
/* index: mova_input_signal. 1 or 0, or the whole status, bits of mova_status_bit; 0 when it cannot be read. */
MOVA_API mova_code mova_detect_comm_signal(mova_handset* handset, int32_t index, int32_t* value) MOVA_NOEXCEPT;
/* mode: mova_flow_control. Has no effect before the first mova_init_cmd_manager. */
MOVA_API mova_code mova_switch_comm_flow_control_mode(mova_handset* handset, int32_t mode) MOVA_NOEXCEPT;

/* --- logging: file names are as the system has them. */

/* request MOVA_START_TRACE starts the trace file, which is appended to; times in it count from start_tick.
 * MOVA_NO_TRACE_FILE: it is active all the same, its records go unwritten. */
MOVA_API mova_code mova_activate_mova_logging(mova_handset* handset, const char* file_name, size_t file_name_length,
                                              uint32_t start_tick, uint32_t request) MOVA_NOEXCEPT;
/* A log of commands and answers, one tagged line each, appended to. The empty text ends it. */
MOVA_API mova_code mova_set_log_file_path(mova_handset* handset, const char* path, size_t path_length) MOVA_NOEXCEPT;

#ifdef __cplusplus
}
#endif
