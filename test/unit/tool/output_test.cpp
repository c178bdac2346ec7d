// How texts are shown and aligned, and how values and numbers are written.
#include "output.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <string>
#include <thread>

#include "json_writer.hpp"
#include "table.hpp"
#include "value_text.hpp"
#include "verb.hpp"

namespace mox::test {
namespace {

using namespace mox::tool;

// What is printed into a pipe by the body.
template <typename Body>
std::string printed(Body body) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    {
        Output out(ends[1]);
        close(ends[1]);
        body(out);
        out.flush();
    }
    std::string text(65536, '\0');
    const ssize_t size = read(ends[0], text.data(), text.size());
    close(ends[0]);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
}

TEST(ShownText, KeepsPrintableCharacters) {
    EXPECT_EQ(shown("Größe \u4e2d 'a' \\"), "Größe \u4e2d 'a' \\");
}

TEST(ShownText, EscapesWhatCouldSteerATerminal) {
    EXPECT_EQ(shown("a\nb\tc\rd"), "a\\nb\\tc\\rd");
    EXPECT_EQ(shown("\x1b[31m\x7f"), "\\u001b[31m\\u007f");
    EXPECT_EQ(shown("\xc2\x9b"), "\\u009b");
    EXPECT_EQ(shown(std::string("a\0b", 3)), "a\\x00b");
}

TEST(ShownText, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(shown("a\xff\xc3"), "a\\xff\\xc3");
    EXPECT_EQ(shown("\xc3(\xe2\x82"), "\\xc3(\\xe2\\x82");
}

TEST(TextWidth, CountsColumnsNotBytes) {
    EXPECT_EQ(width_of("Tank"), 4U);
    EXPECT_EQ(width_of("Größe"), 5U);
    EXPECT_EQ(width_of("\u4e2d\u6587"), 4U);
    EXPECT_EQ(width_of("e\u0301"), 1U);
    EXPECT_EQ(width_of(""), 0U);
}

TEST(OutputTable, AlignsByColumnsOfTheTerminal) {
    EXPECT_EQ(printed([](Output& out) {
                  Table table({{"NAME"}, {"N", Align::right}, {"END"}});
                  table.add({"Größe", "5", ""});
                  table.add({"\u4e2d\u6587\u4e2d", "10000", "x\n"});
                  table.print(out);
              }),
              "NAME        N  END\n"
              "Größe       5  -\n"
              "\u4e2d\u6587\u4e2d  10000  x\\n\n");
}

TEST(OutputText, GoesOutWholeThroughADescriptorThatDoesNotBlock) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    const std::string text(1 << 20, 'x');
    std::string received;
    std::thread reader([&received, in = ends[0]] {
        std::string part(10000, '\0');
        for (ssize_t size = 0; (size = read(in, part.data(), part.size())) > 0;) {
            received.append(part, 0, static_cast<std::size_t>(size));
        }
    });
    {
        Output out(ends[1]);
        close(ends[1]);
        out.text(text);
        out.line();
        out.flush();
    }
    reader.join();
    close(ends[0]);
    EXPECT_EQ(received, text + "\n");
}

TEST(JsonNumber, AboveTheSignedRangeIsTheStringOfItsDigits) {
    JsonWriter json;
    json.begin_object();
    json.member("most", G_MAXUINT64);
    json.member("signed", guint64{G_MAXINT64});
    json.member("over", guint64{G_MAXINT64} + 1);
    json.member("least", gint64{G_MININT64});
    json.end_object();
    EXPECT_EQ(json.one_line(),
              "{\"most\":\"18446744073709551615\",\"signed\":9223372036854775807,"
              "\"over\":\"9223372036854775808\",\"least\":-9223372036854775808}");
}

TEST(JsonText, EscapesControlCharactersAndReplacesBadBytes) {
    JsonWriter json;
    json.begin_array();
    json.text("\x1b\x7f\xc2\x9b\xc3\x9b");
    json.text("a\xff");
    json.end_array();
    EXPECT_EQ(json.one_line(), "[\"\\u001b\\u007f\\u009b\xc3\x9b\",\"a\xef\xbf\xbd\"]");
}

// The exact text of what is read from a text, for a type.
std::string round_trip(const std::string& text, const std::string& type) {
    return exact_text(value_of_text(text, type, "Tank.Level").get());
}

TEST(ValueText, OfANumberIsReadForTheType) {
    EXPECT_EQ(round_trip("95", "y"), "byte 0x5f");
    EXPECT_EQ(round_trip("95", "n"), "int16 95");
    EXPECT_EQ(round_trip("95", "u"), "uint32 95");
    EXPECT_EQ(round_trip("95", "d"), "95.0");
    EXPECT_EQ(round_trip("uint32 95", "u"), "uint32 95");
    EXPECT_EQ(round_trip("uint32 95", "i"), "95");
}

TEST(ValueText, ThatIsNoneOfTheTypeIsRefused) {
    EXPECT_THROW(value_of_text("256", "y", "P"), Failed);
    EXPECT_THROW(value_of_text("-1", "u", "P"), Failed);
    EXPECT_THROW(value_of_text("1.5", "i", "P"), Failed);
    EXPECT_THROW(value_of_text("", "i", "P"), Failed);
    EXPECT_THROW(value_of_text("\xff", "s", "P"), Failed);
}

TEST(ValueText, OfATextMayStandWithoutQuotes) {
    EXPECT_EQ(round_trip("hello world", "s"), "'hello world'");
    EXPECT_EQ(round_trip("'hello'", "s"), "'hello'");
    EXPECT_EQ(round_trip("95", "s"), "'95'");
    EXPECT_EQ(round_trip("", "s"), "''");
    EXPECT_THROW(value_of_text("'hello", "s", "P"), Failed);
    EXPECT_THROW(value_of_text("\"a\" b", "s", "P"), Failed);
}

TEST(ValueText, OfANumberForPeopleReadsBackAsTheSame) {
    for (const double number : {0.1, 1.0 / 3, 22.0, -0.0, 1e300, 5e-324, 123456789012345680.0}) {
        const VariantPtr value{g_variant_ref_sink(g_variant_new_double(number))};
        const std::string text = plain_text(value.get());
        const VariantPtr again{g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr)};
        ASSERT_NE(again, nullptr) << text;
        EXPECT_TRUE(g_variant_equal(again.get(), value.get())) << text;
    }
    const VariantPtr tenth{g_variant_ref_sink(g_variant_new_double(0.1))};
    EXPECT_EQ(plain_text(tenth.get()), "0.1");
}

// The same value from the text for programs.
void expect_read_back(GVariant* floating) {
    const VariantPtr value{g_variant_ref_sink(floating)};
    const std::string text = exact_text(value.get());
    const VariantPtr again{g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr)};
    ASSERT_NE(again, nullptr) << text;
    EXPECT_TRUE(g_variant_equal(again.get(), value.get())) << text;
}

TEST(ExactValueText, ReadsBackAsTheSameValueOfTheSameType) {
    expect_read_back(g_variant_new_byte(7));
    expect_read_back(g_variant_new_uint64(G_MAXUINT64));
    expect_read_back(g_variant_new("ai", nullptr));
    expect_read_back(g_variant_new_parsed("{'a': <uint16 5>, 'b': <@as []>}"));
    expect_read_back(g_variant_new_bytestring("a\"b\\"));
    expect_read_back(g_variant_new_double(HUGE_VAL));
}

TEST(ExactValueText, ReadsBackTheSmallestNumbers) {
    expect_read_back(g_variant_new_double(5e-324));
    expect_read_back(g_variant_new_double(-2.2250738585072009e-308));
    expect_read_back(g_variant_new_parsed("[1e-307, %d, 0.0]", 1e-310));
    expect_read_back(g_variant_new_parsed("{'4e-324': <%d>, \"it's 4e-324\": <'4e-324'>}", 5e-324));
}

}  // namespace
}  // namespace mox::test
