#include "ByteBuffer.h"

#include <cassert>

Buffer_Bytes_T::Buffer_Bytes_T(UINT8* pData, size_t SizeBytes)
    : m_pData(pData), m_Original_Size_Bytes(SizeBytes), m_Current_Size_Bytes(SizeBytes)
{
}

Buffer_Bytes_T::~Buffer_Bytes_T() {}

void Buffer_Bytes_T::size(size_t NewSize) const
{
    assert(NewSize <= m_Original_Size_Bytes);
    m_Current_Size_Bytes = NewSize;
}
