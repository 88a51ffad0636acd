#include "ByteBuffer.h"

#include <gtest/gtest.h>

TEST(ByteBufferTest, SizeShrinksAndGrowsBackWithinTheCapacity)
{
    UINT8 Storage[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    Buffer_Bytes_T Buffer(Storage, sizeof(Storage));
    EXPECT_EQ(Storage, Buffer.data());
    EXPECT_EQ(8u, Buffer.size());

    // A send path only has a const view and still reports what went out.
    const Buffer_Bytes_T& SendView = Buffer;
    SendView.size(0);
    EXPECT_EQ(0u, Buffer.size());
    EXPECT_EQ(8u, Buffer.capacity());
    SendView.size(3);
    SendView.size(8);
    EXPECT_EQ(8u, Buffer.size());
}

TEST(ByteBufferDeathTest, SizeBeyondTheCapacityEndsTheProgram)
{
    const struct
    {
        size_t Capacity;
        size_t NewSize;
    } Cases[] = {{4, 5}, {4, 1000}, {0, 1}};
    UINT8 Storage[4] = {};
    for (const auto& Case : Cases)
    {
        Buffer_Bytes_T Buffer(Storage, Case.Capacity);
        Buffer.size(0);
        Buffer.size(Case.Capacity);
        EXPECT_DEATH(Buffer.size(Case.NewSize),
                     "Utilities/ByteBuffer.cpp:[0-9]+: void Buffer_Bytes_T::size\\(size_t\\) const: "
                     "Assertion .NewSize <= m_Original_Size_Bytes. failed")
            << "capacity " << Case.Capacity << ", new size " << Case.NewSize;
    }
}
