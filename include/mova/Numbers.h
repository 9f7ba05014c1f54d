/* The numbers of the interface, each told here alone: the C interface (mova/mova.h) uses them as they are, the C++ face
 * gives them its own names (mova/Codes.h, mova/Options.h). For C and C++.
 */
#pragma once

/* The outcomes that methods report: 32-bit numbers, 0 for success, grouped by their high digits (0x2xxx arguments of AT
 * commands, 0x3xxx the component itself, 0x40xx the port and its waits, 0x42xx and 0x43xx replies and port operations,
 * 0x8xxx E2P statuses of the handset, 0xBxxx its flash status record, 0xDxxx Bluetooth controller and WiFi).
 */
enum mova_code_number {
    MOVA_SUCCESS = 0,
    MOVA_STOPPED = 0x0010, /* the port was closed, or the object told to end, while an operation waited */

    MOVA_LOG_PATH_EMPTY = 0x1001, /* of the log writer: there is no file to write to */
    MOVA_NO_TRACE_FILE = 0x1002,  /* neither the trace file nor its fallback could be opened */

    MOVA_BAD_AT_COMMAND = 0x2007, /* empty, or longer than 4094 characters */

    MOVA_UNKNOWN_PROPERTY = 0x3001,
    MOVA_MALFORMED_CONFIRMATION = 0x3001, /* deliberate: one number for three errors, hosts know it as such */
    MOVA_WRONG_ARRAY_TYPE = 0x3001,
    MOVA_READER_NOT_STARTED = 0x3005, /* the system has no thread to give */
    MOVA_WAIT_FAILED = 0x3006,

    MOVA_NOT_OPEN = 0x4000,        /* the port is not open, not present, could not be opened; a bad length */
    MOVA_NOT_SERIAL = 0x4001,      /* the operation needs device type 0 */
    MOVA_PORT_UNREADABLE = 0x4002, /* the port's properties or state could not be read */
    MOVA_NOT_CONFIGURED = 0x4003,  /* the port could not be configured */
    MOVA_NO_ANSWER = 0x4004,       /* no (accepted) answer within the time */
    MOVA_WRITE_TIMEOUT = 0x4005,
    MOVA_SHORT_WRITE = 0x4010, /* fewer bytes were written than asked */
    MOVA_CHECKSUM_MISMATCH = 0x4011,
    MOVA_NOT_SYNCHRONOUS = 0x4014, /* AT answers are collected only in the synchronous modes */

    MOVA_EVENT_MASK_NOT_SET = 0x4201,
    MOVA_WRONG_COMMAND_ECHO = 0x4203, /* the reply's command or option is not the request's, or there is no reply */
    MOVA_WRONG_OBJECT = 0x4204,
    MOVA_WRONG_RECORD = 0x4205,
    MOVA_WRONG_DATA = 0x4206, /* the echoed data differs from the data sent */
    /* The echoed data's length differs; of ReadWholeE2PObject, the data's is not the length that was announced. */
    MOVA_WRONG_DATA_LENGTH = 0x4207,

    MOVA_UNKNOWN_OPTION = 0x4305, /* of HciAction; of SpecificInfo, also its access */
    MOVA_NOT_INITIALISED = 0x4317,
    MOVA_READ_FAILED = 0x4340,
    MOVA_WRITE_FAILED = 0x4341,
    MOVA_ERRORS_NOT_CLEARED = 0x4342,
    MOVA_NOT_CLOSED = 0x4343, /* the port's handle could not be closed */
    MOVA_SIGNAL_NOT_SET = 0x4344,
    MOVA_SIGNALS_UNREADABLE = 0x4345,
    MOVA_ALREADY_OPEN = 0x4346, /* a handle was given while a port is open */

    MOVA_OTP_ERROR = 0x6300, /* the handset answered the one-time-programmable query with "ERROR" */

    /* The handset's status of an E2P request, by its number there. */
    MOVA_E2P_STATUS_2 = 0x8201,
    MOVA_E2P_STATUS_3 = 0x8202,
    MOVA_E2P_STATUS_4 = 0x8203,
    MOVA_E2P_STATUS_5 = 0x8204,
    MOVA_E2P_STATUS_6 = 0x8205,
    MOVA_E2P_STATUS_7 = 0x8206,
    MOVA_E2P_STATUS_8 = 0x8207,
    MOVA_E2P_STATUS_9 = 0x8208,
    MOVA_E2P_STATUS_10 = 0x8209,
    MOVA_E2P_STATUS_11 = 0x820A,
    MOVA_E2P_STATUS_12 = 0x820B,
    MOVA_E2P_STATUS_OTHER = 0x820C, /* every status without a code of its own: 1, and 21 and above */
    MOVA_E2P_STATUS_15 = 0x8310,
    MOVA_E2P_STATUS_16 = 0x8311,
    MOVA_E2P_STATUS_17 = 0x8312,
    MOVA_E2P_STATUS_13 = 0x8313, /* deliberate: 13 and 14 come behind 15 to 17 */
    MOVA_E2P_STATUS_14 = 0x8314,
    MOVA_E2P_STATUS_18 = 0x8315,
    MOVA_E2P_STATUS_19 = 0x8316,
    MOVA_E2P_STATUS_20 = 0x8317,

    MOVA_FLASH_CHECKSUM = 0xB340, /* the flash status record fails its checksum */
    MOVA_FLASH_COUNTER_AT_LIMIT = 0xB341,
    MOVA_FLASH_NOT_IN_PROGRESS = 0xB342, /* an entry without a start */

    MOVA_HCI_STATUS = 0xD303, /* not "00" */
    MOVA_WIFI_STATUS_1 = 0xD380,
    MOVA_WIFI_STATUS_2 = 0xD381,
};

/* SwitchOperateMode: who takes in the handset's answers, where they go, and what ends one. Every other number is
 * MOVA_MODE_SYNCHRONOUS. */
enum mova_mode {
    /* The caller's thread while it waits; to the queue; every look at the port ends an answer. */
    MOVA_MODE_SYNCHRONOUS = 0,
    MOVA_MODE_EVENTS = 1,           /* the reader thread; told as events; every look at the port */
    MOVA_MODE_BACKGROUND = 2,       /* the reader thread; to the queue; every look at the port */
    MOVA_MODE_SYNCHRONOUS_OK = 3,   /* the caller's thread; to the queue; "OK" */
    MOVA_MODE_SYNCHRONOUS_OK_4 = 4, /* the same under a second number */
    MOVA_MODE_BACKGROUND_OK = 5,    /* the reader thread; to the queue; "OK" */
};
/* AssignTimeoutConstant. Time-outs 2 and 6 are kept for callers that set them; nothing reads them. */
enum mova_timeout {
    MOVA_TIMEOUT_WRITE = 1,              /* of a request on the line */
    MOVA_TIMEOUT_RF_ACKNOWLEDGEMENT = 3, /* of each segment of an RF request */
    MOVA_TIMEOUT_ACKNOWLEDGEMENT = 4,    /* of each segment of an E2P, HCI or WiFi request: "*MOVA=ACK", then "OK" */
    MOVA_TIMEOUT_AT_WRITE = 5,           /* of an AT command on the line */
};
/* SetAtCmdProperty, the forms that send and pause. The same number plus MOVA_PROPERTY_WAITS sends and waits for the
 * answer. */
enum mova_property {
    MOVA_PROPERTY_ECHO = 1, /* "ATE1" for parameter 1, else "ATE0" */
    MOVA_PROPERTY_WAKE = 2,
    MOVA_PROPERTY_UART_SWAP = 3,
    MOVA_PROPERTY_CALL_112 = 4,
    MOVA_PROPERTY_HANG_UP = 5,
    MOVA_PROPERTY_FULL_FUNCTION = 6,
    MOVA_PROPERTY_REGISTER_AUTOMATICALLY = 7,
    MOVA_PROPERTY_SLEEP_MODE_ON = 8,
    MOVA_PROPERTY_SLEEP_MODE_OFF = 9,
    MOVA_PROPERTY_AUTO_ANSWER = 10, /* "ATS0=" and the parameter */
    MOVA_PROPERTY_SEND_J = 11,      /* "<j" */
    MOVA_PROPERTY_BYPASS = 12,      /* "AT*BYPASS=1" for parameter 1, else 0 */
    MOVA_PROPERTY_SEND_K = 13,      /* "<k" */
    MOVA_PROPERTY_BOARD_TEST = 14,  /* "AT*BOARDTEST=1" for parameter 1, else 0 */
};
enum { MOVA_PROPERTY_WAITS = 100 };

/* GetNormalAtResult. Every other number: older answers are dropped first, then the final result alone, which is empty:
 * what is taken in here ends with the look at the port. */
enum mova_collect {
    MOVA_COLLECT_TEXT_AND_PENDING = 1, /* older answers are dropped first; what is unfinished comes too */
    /* The oldest answer whole; the record behind it is left, the AT answers behind that are joined. */
    MOVA_COLLECT_WHOLE_RECORD = 2,
};
/* SpecificInfo. */
enum mova_info {
    MOVA_INFO_VERSION = 0,
    MOVA_INFO_FIELD_1 = 1,
    MOVA_INFO_IMEI = 2,
    MOVA_INFO_FIELD_3 = 3,
    MOVA_INFO_FIELD_4 = 4, /* is written only */
    MOVA_INFO_FIELD_5 = 5,
    MOVA_INFO_FIELD_6 = 6,
    MOVA_INFO_FIELD_7 = 7,
    MOVA_INFO_FIELD_8 = 8,
    MOVA_INFO_FLASH_STATUS = 9,
    MOVA_INFO_OTP_STATUS = 10,
};

enum mova_access {
    MOVA_ACCESS_READ = 0,
    MOVA_ACCESS_WRITE = 1,
};
/* SetCommSignal. Every other number is MOVA_OUTPUT_RTS. */
enum mova_output_signal {
    MOVA_OUTPUT_RTS = 0,
    MOVA_OUTPUT_DTR = 1,
};
/* DetectCommSignal. */
enum mova_input_signal {
    MOVA_INPUT_WHOLE_STATUS = -1,
    MOVA_INPUT_CTS = 0,
    MOVA_INPUT_DSR = 1,
    MOVA_INPUT_RING = 2,
    MOVA_INPUT_CARRIER = 3,
};
/* The bits of the whole status, which DetectCommSignal gives as the system has it. */
enum mova_status_bit {
    MOVA_STATUS_CTS = 0x10,
    MOVA_STATUS_DSR = 0x20,
    MOVA_STATUS_RING = 0x40,
    MOVA_STATUS_CARRIER = 0x80,
};
/* SwitchCommFlowControlMode. Every other number is MOVA_FLOW_CONTROL_XON_XOFF. */
enum mova_flow_control {
    MOVA_FLOW_CONTROL_RTS_HANDSHAKE = 1,
    MOVA_FLOW_CONTROL_RTS_CTS = 2,
    MOVA_FLOW_CONTROL_DTR_HANDSHAKE = 3,
    MOVA_FLOW_CONTROL_DTR_DSR = 4,
    MOVA_FLOW_CONTROL_XON_XOFF_OUT = 5,
    MOVA_FLOW_CONTROL_XON_XOFF_IN = 6,
    MOVA_FLOW_CONTROL_XON_XOFF = 7,
    MOVA_FLOW_CONTROL_NONE = 8,
};
/* SetCommDeviceType. Every other number is a device without a port. */
enum mova_device { MOVA_DEVICE_SERIAL = 0 };
/* GetCmpVersion. Every other number is MOVA_CMP_VERSION. */
enum mova_cmp {
    MOVA_CMP_VERSION = 1,
    MOVA_CMP_BUILD = 2, /* the date of the component's file */
};
/* RetriveComPortData: the one option that collects. */
enum { MOVA_COLLECT_RAW_DATA = 3 };
/* ActivateMovaLogging: the one request that starts the trace; every other number stops it. */
enum { MOVA_START_TRACE = 1 };

/* VbRfVarReq. Every other number is RfGeneralTestReq. */
enum mova_rf_request {
    MOVA_RF_REQUEST_CHANGE_PARAMETER = 1,
    MOVA_RF_REQUEST_CHANGE_TABLE = 2,
    MOVA_RF_REQUEST_TEST_CASE = 3,
    MOVA_RF_REQUEST_STATISTICS = 4,
};
