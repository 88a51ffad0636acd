#ifndef BYTEBUFFER_H
#define BYTEBUFFER_H

#include "TSQEventCodes.h"

#include <cstddef>

// A view on caller-owned bytes: fixed capacity, adjustable current size.
// The storage is never owned and must outlive the buffer.
class Buffer_Bytes_T
{
public:
    Buffer_Bytes_T(UINT8* pData, size_t SizeBytes);
    virtual ~Buffer_Bytes_T();

    UINT8* data() const { return m_pData; }
    size_t capacity() const { return m_Original_Size_Bytes; }
    size_t size() const { return m_Current_Size_Bytes; }

    // const on purpose: write and send paths get a const buffer and still
    // report how many bytes actually went out.
    void size(size_t NewSize) const;

private:
    UINT8* m_pData;
    size_t m_Original_Size_Bytes;
    mutable size_t m_Current_Size_Bytes;
};

#endif
