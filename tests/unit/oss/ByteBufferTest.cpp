#include "ByteBuffer.h"

#include <gtest/gtest.h>

TEST(ByteBufferDeathTest, ConstViewResizesWithinTheCapacityOnly)
{
    UINT8 Storage[8] = {};
    // A send path only has a const view and still reports what went out.
    const Buffer_Bytes_T Buffer(Storage, sizeof(Storage));
    EXPECT_EQ(8u, Buffer.size());
    Buffer.size(0);
    EXPECT_EQ(0u, Buffer.size());
    EXPECT_EQ(8u, Buffer.capacity());
    Buffer.size(8);
    EXPECT_EQ(8u, Buffer.size());
    for (size_t Capacity : {0, 8})
        EXPECT_DEATH(Buffer_Bytes_T(Storage, Capacity).size(Capacity + 1),
                     "Utilities/ByteBuffer.cpp:[0-9]+: void Buffer_Bytes_T::size\\(size_t\\) const: "
                     "Assertion .NewSize <= m_Original_Size_Bytes. failed");
}
