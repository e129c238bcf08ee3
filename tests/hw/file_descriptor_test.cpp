// Tests of FileDescriptor, which owns a file descriptor.
#include "hw/file_descriptor.h"

#include "tests/support/system_calls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <type_traits>

namespace {

class Descriptor : public testing::Test {
protected:
    /// Opens the device and clears the log.
    int open(const char* path)
    {
        const int fd = calls.openDevice(path, O_RDWR);
        calls.takeLog();
        return fd;
    }

    SystemCalls calls;
};

TEST_F(Descriptor, DefaultAndNegativeDescriptorsAreNotOpen)
{
    for (const int fd : {-1, -2}) {
        const FileDescriptor failed(fd);
        EXPECT_FALSE(failed.isOpen());
    }
    const FileDescriptor none;
    EXPECT_FALSE(none.isOpen());
    EXPECT_LT(none.get(), 0);
}

TEST_F(Descriptor, DoesNotCloseDescriptorsThatAreNotOpen)
{
    {
        const FileDescriptor none;
        const FileDescriptor failed(-1);
        FileDescriptor assigned;
        assigned = FileDescriptor();
    }
    EXPECT_EQ(calls.takeLog(), Log());
}

TEST_F(Descriptor, DestructorClosesTheDescriptor)
{
    const int number = open("/dev/i2c-1");
    {
        const FileDescriptor owner(number);
        EXPECT_TRUE(owner.isOpen());
        EXPECT_EQ(owner.get(), number);
        EXPECT_EQ(calls.takeLog(), Log());
    }
    EXPECT_EQ(calls.takeLog(), Log({"close /dev/i2c-1"}));
}

TEST_F(Descriptor, AcceptsDescriptorZero)
{
    calls.nextFd = 0;
    {
        const FileDescriptor owner(open("/dev/i2c-1"));
        EXPECT_TRUE(owner.isOpen());
        EXPECT_EQ(owner.get(), 0);
    }
    EXPECT_EQ(calls.takeLog(), Log({"close /dev/i2c-1"}));
}

TEST_F(Descriptor, MovingTransfersOwnership)
{
    const int number = open("/dev/i2c-1");
    {
        FileDescriptor first(number);
        const FileDescriptor second(std::move(first));
        EXPECT_FALSE(first.isOpen()); // NOLINT(bugprone-use-after-move): moved-from objects are not open
        EXPECT_EQ(second.get(), number);
    }
    EXPECT_EQ(calls.takeLog(), Log({"close /dev/i2c-1"}));
}

TEST_F(Descriptor, AssignmentClosesThePreviousDescriptor)
{
    FileDescriptor owner(open("/dev/i2c-1"));
    owner = FileDescriptor(open("/dev/i2c-2"));
    EXPECT_EQ(calls.takeLog(), Log({"close /dev/i2c-1"}));
    EXPECT_TRUE(owner.isOpen());
    owner = FileDescriptor();
    EXPECT_EQ(calls.takeLog(), Log({"close /dev/i2c-2"}));
    EXPECT_FALSE(owner.isOpen());
}

static_assert(!std::is_copy_constructible_v<FileDescriptor> && !std::is_copy_assignable_v<FileDescriptor>);

} // namespace
