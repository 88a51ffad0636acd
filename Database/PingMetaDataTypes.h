#ifndef PINGMETADATATYPES_H
#define PINGMETADATATYPES_H

#include "TSQEventCodes.h"

#include <cstddef>
#include <cstdint>

// Owned elsewhere; a record only keeps a pointer to them.
class CFPGAIF;
class CDatabaseQL1APingStatistics;

// Longest path a record's file may have.
constexpr size_t MAX_DATABASE_PATH_LENGTH = 256;

// Event level of the records' failure reports.
constexpr int c_PingMetaDataErrorEvent = 3;

// Values that mean "not set yet".
constexpr UINT8 c_PingMetaDataNoChannel = 255;
constexpr int32_t c_PingMetaDataDepthUnset = INT32_MIN;

// The ping parameters of a Sonar 4 ping. The records store and return them
// whole and never look inside, so they keep the 78 bytes as they came.
struct Sonar4PingParameters_T
{
    UINT8 Image[78];
};
static_assert(sizeof(Sonar4PingParameters_T) == 78, "Sonar4PingParameters_T must stay 78 bytes");

// Both records count a bool as one byte of their packed settings.
static_assert(sizeof(bool) == 1, "the packed settings hold bool as one byte");

#endif
