// Each thing that can be wrong on the way to a value has a code of its own, and none of them
// blocks.
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>

#include <set>

#include "../../../platform/linux/driver/errno_code.hpp"
#include "driver_fixture.hpp"

namespace mox::test {
namespace {

// Takes away this thread's power to open files against their mode, for as long as it lives.
class WithoutFilePowers {
public:
    WithoutFilePowers() {
        EXPECT_EQ(syscall(SYS_capget, &header_, before_.data()), 0) << std::strerror(errno);
        auto lowered = before_;
        lowered[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
        EXPECT_EQ(syscall(SYS_capset, &header_, lowered.data()), 0) << std::strerror(errno);
    }
    ~WithoutFilePowers() {
        EXPECT_EQ(syscall(SYS_capset, &header_, before_.data()), 0) << std::strerror(errno);
    }
    WithoutFilePowers(const WithoutFilePowers&) = delete;
    WithoutFilePowers& operator=(const WithoutFilePowers&) = delete;

private:
    __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> before_{};
};

class AccessorErrors : public DriverTest {
protected:
    static gint32 read_code() {
        std::array<unsigned char, 8> room{};
        return accessor_read("A", 0, 0, room.data());
    }
    static gint32 write_code(gsize length = 4) {
        const std::array<unsigned char, 8> room{};
        return accessor_write("A", 0, length, room.data());
    }
    void expect_bad_accessor(std::vector<NamedValue> properties) const {
        register_on_content("5\n", std::move(properties));
        EXPECT_EQ(read_code(), DRIVER_ERR_BAD_ACCESSOR);
        EXPECT_EQ(write_code(), DRIVER_ERR_BAD_ACCESSOR);
    }
};

class NotReady : public AccessorErrors {};
class BadAccessor : public AccessorErrors {};
class BadChip : public AccessorErrors {};

TEST_F(AccessorErrors, ArgumentsAreChecked) {
    register_on_content("5\n", {text("Kind", "attribute"), text("Type", "u")});
    std::array<unsigned char, 8> room{};
    EXPECT_EQ(accessor_read(nullptr, 0, 0, room.data()), DRIVER_ERR_BAD_ARGUMENT);
    EXPECT_EQ(accessor_read("A", 0, 0, nullptr), DRIVER_ERR_BAD_ARGUMENT);
    EXPECT_EQ(accessor_read("A", -1, 1, room.data()), DRIVER_ERR_BAD_ARGUMENT);
    EXPECT_EQ(accessor_read("A", 1, 0, room.data()), DRIVER_ERR_BAD_ARGUMENT);
    EXPECT_EQ(accessor_write(nullptr, 0, 4, room.data()), DRIVER_ERR_BAD_ARGUMENT);
    EXPECT_EQ(accessor_write("A", 0, 4, nullptr), DRIVER_ERR_BAD_ARGUMENT);
    EXPECT_EQ(accessor_write("A", -1, 4, room.data()), DRIVER_ERR_BAD_ARGUMENT);
    EXPECT_EQ(accessor_write("A", 0, 0, room.data()), DRIVER_ERR_BAD_ARGUMENT);
}

TEST_F(AccessorErrors, ALengthThatNoBufferHasIsOutOfRange) {
    register_on_content("5\n", {text("Kind", "raw"), text("Type", "u")});
    std::array<unsigned char, 8> room{};
    EXPECT_EQ(accessor_read("A", 0, G_MAXSIZE, room.data()), DRIVER_ERR_RANGE);
    EXPECT_EQ(accessor_write("A", 0, G_MAXSIZE, room.data()), DRIVER_ERR_RANGE);
}

TEST_F(AccessorErrors, AnAccessorThatWasNotRegisteredIsUnknown) {
    EXPECT_EQ(read_code(), DRIVER_ERR_UNKNOWN_ACCESSOR);
    EXPECT_EQ(write_code(), DRIVER_ERR_UNKNOWN_ACCESSOR);
}

TEST_F(AccessorErrors, AChipThatWasNotRegisteredIsUnknown) {
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_UNKNOWN_CHIP);
    EXPECT_EQ(write_code(), DRIVER_ERR_UNKNOWN_CHIP);
}

TEST_F(AccessorErrors, AnAbsentFileIsNoFile) {
    register_chip("C", path_of("absent"));
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NO_FILE);
    EXPECT_EQ(write_code(), DRIVER_ERR_NO_FILE);
}

TEST_F(AccessorErrors, AFileInPlaceOfADirectoryIsNoFile) {
    register_chip("C", write_file("value", "5\n"));
    register_accessor("A", "C",
                      {text("Kind", "attribute"), text("File", "below"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NO_FILE);
}

TEST_F(AccessorErrors, AFileThatComesBackIsReadAgain) {
    register_on_content("5\n", {text("Kind", "attribute"), text("Type", "u")});
    ASSERT_EQ(read_code(), DRIVER_OK);
    std::filesystem::remove(path_of("value"));
    EXPECT_EQ(read_code(), DRIVER_ERR_NO_FILE);
    write_file("value", "6\n");
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(6));
}

TEST_F(AccessorErrors, AFileThatMayNotBeOpenedIsNoPermission) {
    register_on_content("5\n", {text("Kind", "attribute"), text("Type", "u")});
    std::filesystem::permissions(path_of("value"), std::filesystem::perms::none);
    const WithoutFilePowers lowered;
    EXPECT_EQ(read_code(), DRIVER_ERR_NO_PERMISSION);
    EXPECT_EQ(write_code(), DRIVER_ERR_NO_PERMISSION);
}

TEST_F(AccessorErrors, ADirectoryIsNotAFile) {
    register_chip("C", directory());
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_A_FILE);
    EXPECT_EQ(write_code(), DRIVER_ERR_NOT_A_FILE);
}

TEST_F(AccessorErrors, APipeIsNotAFileAndDoesNotBlock) {
    ASSERT_EQ(mkfifo(path_of("pipe").c_str(), 0600), 0);
    register_chip("C", path_of("pipe"));
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_A_FILE);
    const int reader = open(path_of("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(write_code(), DRIVER_ERR_NOT_A_FILE);
    close(reader);
}

TEST_F(AccessorErrors, AWriteToAPipeWithoutAReaderDoesNotBlock) {
    ASSERT_EQ(mkfifo(path_of("pipe").c_str(), 0600), 0);
    register_chip("C", path_of("pipe"));
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "u")});
    EXPECT_EQ(write_code(), DRIVER_ERR_NO_FILE);
}

TEST_F(NotReady, AnEmptyTextFileIsNotReady) {
    register_on_content("", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_READY);
}

TEST_F(NotReady, AFileOfBlanksIsNotReady) {
    register_on_content(" \n\n", {text("Kind", "field"), number("Field", 1), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_READY);
}

TEST_F(NotReady, AnEmptyRawFileIsNotReadyWhateverTheOffset) {
    register_on_content("", {text("Kind", "raw"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_READY);
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "u"), number("Offset", 100)});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_READY);
}

// A terminal is a device that has nothing to read until the other side says something.
class Terminal {
public:
    Terminal() : master_{posix_openpt(O_RDWR | O_NOCTTY)} {
        EXPECT_GE(master_, 0);
        EXPECT_EQ(grantpt(master_), 0);
        EXPECT_EQ(unlockpt(master_), 0);
    }
    ~Terminal() { close(master_); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    std::string path() const {
        std::array<char, 64> name{};
        EXPECT_EQ(ptsname_r(master_, name.data(), name.size()), 0);
        return name.data();
    }
    void say(const std::string& line) const {
        EXPECT_EQ(write(master_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }

private:
    int master_;
};

TEST_F(NotReady, ADeviceWithoutInputIsNotReadyAndDoesNotBlock) {
    const Terminal terminal;
    register_chip("C", terminal.path());
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_READY);
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_READY);
}

TEST_F(NotReady, ADeviceAtItsEndIsNotReady) {
    register_chip("C", "/dev/null");
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_NOT_READY);
}

TEST_F(NotReady, ADeviceWithInputDeliversIt) {
    const Terminal terminal;
    // The input goes when the last descriptor of the terminal's own side is closed.
    const int other_side = open(terminal.path().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(other_side, 0);
    register_chip("C", terminal.path());
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    terminal.say("42\n");
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(42));
    close(other_side);
}

TEST(ErrnoCodes, WhatADeviceSaysWhileItHasNoValueIsNotReady) {
    for (const int error : {EAGAIN, EBUSY, ENODATA, ETIMEDOUT, EINVAL}) {
        EXPECT_EQ(driver::code_of_text_read_errno(error), DRIVER_ERR_NOT_READY)
            << std::strerror(error);
    }
    for (const int error : {EAGAIN, EBUSY, ENODATA, ETIMEDOUT}) {
        EXPECT_EQ(driver::code_of_raw_read_errno(error), DRIVER_ERR_NOT_READY)
            << std::strerror(error);
    }
}

TEST(ErrnoCodes, AnInvalidRawReadIsAFailure) {
    EXPECT_EQ(driver::code_of_raw_read_errno(EINVAL), DRIVER_ERR_IO);
}

TEST(ErrnoCodes, ADeviceThatWentAwayIsNoFile) {
    for (const int error : {ENOENT, ENOTDIR, ENODEV, ENXIO, ESRCH}) {
        EXPECT_EQ(driver::code_of_text_read_errno(error), DRIVER_ERR_NO_FILE)
            << std::strerror(error);
        EXPECT_EQ(driver::code_of_write_errno(error), DRIVER_ERR_NO_FILE) << std::strerror(error);
    }
}

TEST(ErrnoCodes, ARefusalIsToldFromAFailure) {
    EXPECT_EQ(driver::code_of_write_errno(EINVAL), DRIVER_ERR_REFUSED);
    EXPECT_EQ(driver::code_of_write_errno(ERANGE), DRIVER_ERR_REFUSED);
    EXPECT_EQ(driver::code_of_write_errno(EROFS), DRIVER_ERR_NO_PERMISSION);
    EXPECT_EQ(driver::code_of_write_errno(EBUSY), DRIVER_ERR_NOT_READY);
    EXPECT_EQ(driver::code_of_write_errno(EIO), DRIVER_ERR_IO);
    EXPECT_EQ(driver::code_of_text_read_errno(EIO), DRIVER_ERR_IO);
}

TEST_F(BadAccessor, WithoutAChipIsToldFromAnUnknownOne) {
    register_object("Accessor", "A", position,
                    {text("Kind", "attribute"), text("Type", "u"), text("Chip", "")});
    EXPECT_EQ(read_code(), DRIVER_ERR_BAD_ACCESSOR);
}

TEST_F(BadAccessor, NeedsAKindThatExists) {
    expect_bad_accessor({text("Type", "u")});
    expect_bad_accessor({text("Type", "u"), text("Kind", "register")});
    expect_bad_accessor({text("Type", "u"), number("Kind", 1)});
}

TEST_F(BadAccessor, NeedsATypeOfFixedSize) {
    expect_bad_accessor({text("Kind", "attribute")});
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "s")});
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "x")});
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "uu")});
    expect_bad_accessor({text("Kind", "raw"), number("Width", 4), text("Type", "t")});
}

TEST_F(BadAccessor, NeedsAWidthOfOneTwoFourOrEight) {
    expect_bad_accessor({text("Kind", "raw")});
    expect_bad_accessor({text("Kind", "raw"), number("Width", 3)});
    expect_bad_accessor({text("Kind", "raw"), number("Width", 16)});
    expect_bad_accessor({text("Kind", "raw"), number("Width", 260)});
    expect_bad_accessor({text("Kind", "raw"), text("Width", "4")});
    expect_bad_accessor({text("Kind", "raw"), {"Width", g_variant_new_int32(-4)}});
}

TEST_F(BadAccessor, NeedsATypeThatHoldsItsWidth) {
    expect_bad_accessor({text("Kind", "raw"), number("Width", 4), text("Type", "q")});
    expect_bad_accessor({text("Kind", "raw"), number("Width", 2), text("Type", "b")});
    expect_bad_accessor({text("Kind", "raw"), number("Width", 4), text("Type", "d")});
}

TEST_F(BadAccessor, NeedsAnOrderThatExists) {
    expect_bad_accessor({text("Kind", "raw"), number("Width", 4), text("Order", "middle")});
}

TEST_F(BadAccessor, NeedsTheNumberOfItsField) {
    expect_bad_accessor({text("Kind", "field"), text("Type", "u")});
    expect_bad_accessor({text("Kind", "field"), text("Type", "u"), number("Field", 0)});
}

TEST_F(BadAccessor, NeedsTheNameOfItsLine) {
    expect_bad_accessor({text("Kind", "line"), text("Type", "u")});
    expect_bad_accessor({text("Kind", "line"), text("Type", "u"), text("Line", " : ")});
}

TEST_F(BadAccessor, HasAFileBelowItsChip) {
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "u"), text("File", "../value")});
    expect_bad_accessor(
        {text("Kind", "attribute"), text("Type", "u"), text("File", "a/../../value")});
    expect_bad_accessor(
        {text("Kind", "attribute"), text("Type", "u"), text("File", "/etc/passwd")});
}

TEST_F(BadAccessor, HasAScaleOnlyForNumbersInText) {
    expect_bad_accessor({text("Kind", "raw"), text("Type", "u"), real("Scale", 2)});
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "b"), real("Scale", 2)});
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "u"), number("Scale", 2)});
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "u"), real("Scale", 1.0 / 0.0)});
}

TEST_F(BadAccessor, HasBaseSixteenOnlyForWholeNumbersWithoutAScale) {
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "d"), text("Format", "hex")});
    expect_bad_accessor(
        {text("Kind", "attribute"), text("Type", "u"), text("Format", "hex"), real("Scale", 2)});
    expect_bad_accessor({text("Kind", "attribute"), text("Type", "u"), text("Format", "octal")});
}

TEST_F(BadAccessor, MayHaveEveryPropertyOfItsClassUnset) {
    register_on_content(
        "5\n", {text("Kind", "attribute"), text("Type", "u"), text("File", ""), text("Line", ""),
                text("Order", ""), text("Format", ""), number("Offset", 0), number("Width", 0),
                number("Field", 0), number("LineNumber", 0), real("Scale", 0)});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST_F(BadChip, NeedsAnAbsolutePathWithoutParentSteps) {
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    for (const char* path : {"", "proc/uptime", "./value", "/proc/../etc/passwd", "/proc/.."}) {
        register_chip("C", path);
        EXPECT_EQ(read_code(), DRIVER_ERR_BAD_CHIP) << path;
        EXPECT_EQ(write_code(), DRIVER_ERR_BAD_CHIP) << path;
    }
}

TEST_F(BadChip, NeedsAPathThatIsAString) {
    register_object("Chip", "C", position, {number("Path", 5)});
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_code(), DRIVER_ERR_BAD_CHIP);
}

TEST_F(BadChip, HasAPathThatTheSystemCanHold) {
    register_accessor("A", "C",
                      {text("Kind", "attribute"), text("Type", "u"), text("File", "below")});
    register_chip("C", "/" + std::string(5000, 'x'));
    EXPECT_EQ(read_code(), DRIVER_ERR_BAD_CHIP);
    register_chip("C", "/" + std::string(4090, 'x'));
    EXPECT_EQ(read_code(), DRIVER_ERR_BAD_CHIP);
}

TEST_F(BadChip, MayHaveTwoDotsInsideAName) {
    register_chip("C", write_file("a..b", "5\n"));
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST(DriverErrorText, DiffersForEveryCode) {
    std::set<std::string> texts;
    for (gint32 code = DRIVER_ERR_REFUSED; code <= DRIVER_ERR_BAD_ARGUMENT; ++code) {
        texts.insert(driver_error_text(code));
    }
    texts.insert(driver_error_text(DRIVER_OK));
    EXPECT_EQ(texts.size(), 17U);
    EXPECT_EQ(texts.count("unknown driver error"), 0U);
}

TEST(DriverErrorText, IsThereForACodeOfAnotherLayer) {
    EXPECT_STREQ(driver_error_text(-2009), "unknown driver error");
    EXPECT_STREQ(driver_error_text(G_MININT32), "unknown driver error");
}

}  // namespace
}  // namespace mox::test
