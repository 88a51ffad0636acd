#ifndef TSQEVENTCODES_H
#define TSQEVENTCODES_H

#include <cstdint>

// Fixed-width names used across the OS services and the FPGA transports.
typedef uint8_t UINT8;
typedef uint16_t UINT16;
typedef uint32_t UINT32;
typedef uint32_t AUINT32;

// Result of FPGA, OS and metadata operations: 0 is success, positive values
// are errno numbers, negative values are this program's own codes.
typedef int32_t TSQEventCode_T;

constexpr TSQEventCode_T c_TSQ_Success = 0;
constexpr TSQEventCode_T c_TSQ_ShellNotStarted = -101;
constexpr TSQEventCode_T c_TSQ_NoBytesTransferred = -109;
constexpr TSQEventCode_T c_TSQ_FileLocked = -140;
constexpr TSQEventCode_T c_TSQ_MetaDataWriteFailed = -142;
constexpr TSQEventCode_T c_TSQ_TransducerIdIrqMissing = -144;
constexpr TSQEventCode_T c_TSQ_UartReceiveShortfall = -171;
constexpr TSQEventCode_T c_TSQ_ThreadCallFailed = -172;
constexpr TSQEventCode_T c_TSQ_UartFlushFailed = -173;
constexpr TSQEventCode_T c_TSQ_NotSupported = -174;
constexpr TSQEventCode_T c_TSQ_NoFpgaInterface = -177;

#endif
