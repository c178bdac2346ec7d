// Reading into a caller's buffer: what fits is copied, what does not is cut, terminated and told
// of.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

class BufferRead : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 0x44332211, "rw", "Tacho"),
                                   text("Label", "left-rear")}});
        buffer_.fill(0xEE);
    }

    gint32 read(const char* property, guint32 length, gboolean is_volatile = FALSE) {
        return lom_get_property_value_v2(handle_of("Fan1"), property, is_volatile, length,
                                         buffer_.data(), FALSE);
    }

    // The same without a word on the terminal.
    gint32 read_quietly(const char* property, guint32 length) {
        gint32 code = -1;
        messages_of([&] { code = read(property, length); });
        return code;
    }

    // The buffer's first bytes as text, a dot for a byte that was not written.
    std::string seen(std::size_t count) const {
        std::string text;
        for (std::size_t at = 0; at < count; ++at) {
            text += buffer_[at] == 0xEE ? '.'
                    : buffer_[at] == 0  ? '0'
                                        : static_cast<char>(buffer_[at]);
        }
        return text;
    }

    std::array<guchar, 16> buffer_ = {};
};

TEST_F(BufferRead, OfAValueThatFitsExactlyCopiesIt) {
    EXPECT_EQ(read("Label", 10), 0);
    EXPECT_EQ(seen(11), "left-rear0.");
}

TEST_F(BufferRead, OfAValueThatFitsLogsNothing) {
    EXPECT_EQ(messages_of([this] { read("Label", 10); }), Texts{});
}

TEST_F(BufferRead, OfAShorterValueLeavesTheRestAsItWas) {
    EXPECT_EQ(read("Label", 16), 0);
    EXPECT_EQ(seen(16), "left-rear0......");
}

TEST_F(BufferRead, OfALongerValueIsCutAndTerminated) {
    EXPECT_EQ(read_quietly("Label", 4), 0);
    EXPECT_EQ(seen(5), "lef0.");
}

TEST_F(BufferRead, OfALongerValueLogsBothSizeMessages) {
    EXPECT_EQ(messages_of([this] { read("Label", 4); }),
              (Texts{"ERR property Label size error, 10 != 4.\n",
                     "ERR property Label size error, 10 > 4.\n"}));
}

TEST_F(BufferRead, OfALongerNumberIsCutToo) {
    EXPECT_EQ(read_quietly("Speed", 3), 0);
    EXPECT_EQ(buffer_[0], 0x11);
    EXPECT_EQ(buffer_[1], 0x22);
    EXPECT_EQ(buffer_[2], 0);
    EXPECT_EQ(buffer_[3], 0xEE);
}

TEST_F(BufferRead, IntoASingleByteGivesTheTerminatorAlone) {
    EXPECT_EQ(read_quietly("Label", 1), 0);
    EXPECT_EQ(seen(2), "0.");
}

TEST_F(BufferRead, IntoNoByteWritesNothing) {
    gint32 code = -1;
    const Texts messages = messages_of([&] { code = read("Label", 0); });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(messages, (Texts{"ERR property Label size error, 10 != 0.\n",
                               "ERR property Label size error, 10 > 0.\n"}));
    EXPECT_EQ(seen(1), ".");
}

TEST_F(BufferRead, RefusesANullHandle) {
    EXPECT_EQ(lom_get_property_value_v2(0, "Speed", FALSE, 4, buffer_.data(), FALSE), -2001);
}

TEST_F(BufferRead, RefusesANullName) {
    EXPECT_EQ(read(nullptr, 4), -2001);
}

TEST_F(BufferRead, RefusesANullBuffer) {
    EXPECT_EQ(lom_get_property_value_v2(handle_of("Fan1"), "Speed", FALSE, 4, nullptr, FALSE),
              -2001);
}

TEST_F(BufferRead, DoesNotFindAnUnknownObject) {
    EXPECT_EQ(
        lom_get_property_value_v2(handle_of("Fan9"), "Speed", FALSE, 4, buffer_.data(), FALSE),
        -2009);
}

TEST_F(BufferRead, ReturnsTheCodeOfAFailedReadAndLeavesTheBuffer) {
    EXPECT_EQ(read("Colour", 16), -2010);
    EXPECT_EQ(seen(4), "....");
}

TEST_F(BufferRead, FailsWithoutTheSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(read("Speed", 4), -2015);
    EXPECT_EQ(seen(4), "....");
}

TEST_F(BufferRead, CanBeLive) {
    fake::driver_program_value<guint32>("Tacho", 0x41424344);
    EXPECT_EQ(read("Speed", 4, TRUE), 0);
    EXPECT_EQ(seen(5), "DCBA.");
}

TEST_F(BufferRead, ReturnsTheCodeOfTheHardware) {
    fake::driver_fail_reads_of("Tacho", -2114);
    EXPECT_EQ(read("Speed", 4, TRUE), -2114);
    EXPECT_EQ(seen(4), "....");
}

gint32 give_letters([[maybe_unused]] const gchar* object, [[maybe_unused]] const gchar* property,
                    [[maybe_unused]] gint32 offset, [[maybe_unused]] gsize length, gpointer out) {
    std::memcpy(out, "wxyz", 4);
    return 0;
}

TEST_F(BufferRead, CanGoThroughTheOwner) {
    lom_set_remote_get_property_func(give_letters);
    EXPECT_EQ(lom_get_property_value_v2(handle_of("Fan1"), "Speed", TRUE, 4, buffer_.data(), TRUE),
              0);
    EXPECT_EQ(seen(5), "wxyz.");
}

TEST_F(BufferRead, OfARecordThatDeclaresMoreThanItHoldsGivesZeroesBehindIt) {
    property_of("Fan1", "Label").size = 14;
    EXPECT_EQ(read("Label", 16), 0);
    EXPECT_EQ(seen(16), "left-rear00000..");
}

TEST_F(BufferRead, OfAnEmptyValueWritesNothing) {
    property_of("Fan1", "Label").size = 0;
    EXPECT_EQ(read("Label", 4), 0);
    EXPECT_EQ(seen(4), "....");
}

}  // namespace
}  // namespace mox::test
