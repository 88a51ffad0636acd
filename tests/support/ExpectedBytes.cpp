#include "ExpectedBytes.h"

std::vector<UINT32> Words(const CorSpiPingRead_T& Request)
{
    return {Request.SyncWord, Request.Address, Request.Mode, Request.Word3, Request.Word4};
}

// "CS", the address, the flags (bit 0 read, bit 1 block), the length - 1; little-endian.
static Bytes_T Header(UINT16 Address, UINT8 Flags, size_t Count)
{
    const UINT16 Last = static_cast<UINT16>(Count - 1);
    return {0x43, 0x53, UINT8(Address), UINT8(Address >> 8), Flags, UINT8(Last), UINT8(Last >> 8)};
}

Bytes_T WritePacket(UINT16 Address, const Bytes_T& Payload, bool bBlock)
{
    return Join({Header(Address, bBlock ? 2 : 0, Payload.size()), Reply(Payload)});
}

Bytes_T ReadPacket(UINT16 Address, size_t Count, bool bBlock)
{
    return Join({Header(Address, bBlock ? 3 : 1, Count), Bytes_T(Count + 1, 0)});
}

Bytes_T Reply(const Bytes_T& Data)
{
    UINT8 Sum = 0;
    for (UINT8 Byte : Data)
        Sum = static_cast<UINT8>(Sum + Byte);
    return Join({Data, {Sum}});
}

std::string AssertionPattern(const std::string& File, int Line, const std::string& Condition)
{
    std::string Escaped;
    for (char c : Condition)
        Escaped += strchr("\\.[]()*+?{}|^$", c) ? std::string("\\") + c : std::string(1, c);
    const std::string Where = Line > 0 ? ":" + std::to_string(Line) + ": " : ":[0-9]+: ";
    return "Utilities/" + File + "\\.cpp" + Where + ".*Assertion ." + Escaped + ". failed";
}
