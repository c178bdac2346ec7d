// A recursive scan whose depth is bounded; it keeps nothing but its position and the member names
// of open objects.
#include "profile/json_text.hpp"

#include <glib.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <set>
#include <string>

#include "profile/fault.hpp"

namespace mox::host {
namespace {

bool is_digit(int character) {
    return character >= '0' && character <= '9';
}

class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    void document() {
        check_encoding();
        skip_blanks();
        value(0);
        skip_blanks();
        if (at_ < text_.size()) {
            fail("something follows the end of the document");
        }
    }

private:
    static constexpr int end_of_text = -1;

    [[noreturn]] void fail_at(std::size_t offset, const std::string& cause) const {
        std::size_t line = 1;
        std::size_t column = 1;
        for (const char character : text_.substr(0, offset)) {
            if (character == '\n') {
                ++line;
                column = 1;
            } else if ((static_cast<unsigned char>(character) & 0xC0U) != 0x80U) {
                ++column;
            }
        }
        throw Fault{"line " + std::to_string(line) + ", column " + std::to_string(column), cause};
    }

    [[noreturn]] void fail(const std::string& cause) const { fail_at(at_, cause); }

    int peek() const {
        return at_ < text_.size() ? static_cast<unsigned char>(text_[at_]) : end_of_text;
    }

    // What stands at the position, for a message.
    std::string found() const {
        if (peek() == end_of_text) {
            return "the end of the file";
        }
        const std::size_t length =
            static_cast<std::size_t>(g_utf8_next_char(text_.data() + at_) - (text_.data() + at_));
        return quoted(text_.substr(at_, length));
    }

    void expect(char character) {
        if (peek() != character) {
            fail(std::string("expected '") + character + "', found " + found());
        }
        ++at_;
    }

    void skip_blanks() {
        while (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r') {
            ++at_;
        }
    }

    void check_encoding() const {
        const gchar* end = nullptr;
        if (g_utf8_validate_len(text_.data(), text_.size(), &end) == FALSE) {
            const auto offset = static_cast<std::size_t>(end - text_.data());
            const bool is_nul = offset < text_.size() && text_[offset] == '\0';
            fail_at(offset, is_nul ? "a NUL byte" : "not UTF-8");
        }
    }

    void value(int depth) {
        if (depth > max_json_depth) {
            fail("nested deeper than " + std::to_string(max_json_depth) + " levels");
        }
        switch (peek()) {
            case '{':
                object(depth);
                break;
            case '[':
                array(depth);
                break;
            case '"':
                string();
                break;
            case 't':
                word("true");
                break;
            case 'f':
                word("false");
                break;
            case 'n':
                word("null");
                break;
            default:
                if (peek() != '-' && !is_digit(peek())) {
                    fail("expected a value, found " + found());
                }
                number();
        }
    }

    void object(int depth) {
        std::set<std::string> names;
        expect('{');
        skip_blanks();
        if (peek() == '}') {
            ++at_;
            return;
        }
        for (;;) {
            const std::size_t name_at = at_;
            const std::string name = string();
            if (!names.insert(name).second) {
                fail_at(name_at, "member " + quoted(name) + " appears twice in one object");
            }
            skip_blanks();
            expect(':');
            skip_blanks();
            value(depth + 1);
            if (!another('}')) {
                return;
            }
        }
    }

    void array(int depth) {
        expect('[');
        skip_blanks();
        if (peek() == ']') {
            ++at_;
            return;
        }
        do {
            value(depth + 1);
        } while (another(']'));
    }

    // True behind a comma, false behind the closing character.
    bool another(char closing) {
        skip_blanks();
        if (peek() == closing) {
            ++at_;
            return false;
        }
        if (peek() != ',') {
            fail(std::string("expected ',' or '") + closing + "', found " + found());
        }
        ++at_;
        skip_blanks();
        return true;
    }

    void word(std::string_view text) {
        if (text_.substr(at_, text.size()) != text) {
            fail("expected a value, found " + found());
        }
        at_ += text.size();
    }

    std::string string() {
        const std::size_t start = at_;
        std::string result;
        expect('"');
        while (peek() != '"') {
            if (peek() == end_of_text) {
                fail_at(start, "the string that begins here never ends");
            }
            if (peek() < 0x20) {
                fail("a control character in a string; write it as an escape");
            }
            if (peek() == '\\') {
                escape(result);
            } else {
                result += text_[at_++];
            }
        }
        ++at_;
        return result;
    }

    void escape(std::string& result) {
        static constexpr std::string_view plain = "\"\\/bfnrt";
        static constexpr std::string_view meaning = "\"\\/\b\f\n\r\t";
        const std::size_t start = at_++;
        if (peek() == 'u') {
            ++at_;
            append_character(start, result);
            return;
        }
        const std::size_t which =
            peek() == end_of_text ? plain.npos : plain.find(static_cast<char>(peek()));
        if (which == plain.npos) {
            fail_at(start, "an unknown escape");
        }
        result += meaning[which];
        ++at_;
    }

    void append_character(std::size_t start, std::string& result) {
        std::uint32_t code = hex_digits(start);
        if (code >= 0xD800U && code <= 0xDBFFU && text_.substr(at_, 2) == "\\u") {
            at_ += 2;
            const std::uint32_t low = hex_digits(start);
            if (low < 0xDC00U || low > 0xDFFFU) {
                fail_at(start, "half a surrogate pair");
            }
            code = 0x10000U + ((code - 0xD800U) << 10U) + (low - 0xDC00U);
        }
        if (code == 0) {
            fail_at(start, "a NUL character in a string");
        }
        if (code >= 0xD800U && code <= 0xDFFFU) {
            fail_at(start, "half a surrogate pair");
        }
        char bytes[6];
        result.append(bytes, static_cast<std::size_t>(g_unichar_to_utf8(code, bytes)));
    }

    std::uint32_t hex_digits(std::size_t start) {
        std::uint32_t code = 0;
        const std::string_view digits = text_.substr(at_, 4);
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
        if (error != std::errc() || digits.size() != 4 || end != digits.data() + 4) {
            fail_at(start, "an escape \\u without its four digits");
        }
        at_ += 4;
        return code;
    }

    void digits() {
        if (!is_digit(peek())) {
            fail("expected a digit, found " + found());
        }
        while (is_digit(peek())) {
            ++at_;
        }
    }

    void number() {
        const std::size_t start = at_;
        if (peek() == '-') {
            ++at_;
        }
        if (peek() == '0') {
            ++at_;
            if (is_digit(peek())) {
                fail_at(start, "a number with a leading zero");
            }
        } else {
            digits();
        }
        const std::size_t whole_end = at_;
        if (peek() == '.') {
            ++at_;
            digits();
        }
        if (peek() == 'e' || peek() == 'E') {
            ++at_;
            if (peek() == '+' || peek() == '-') {
                ++at_;
            }
            digits();
        }
        check_range(start, whole_end);
    }

    void check_range(std::size_t start, std::size_t whole_end) const {
        const std::string literal(text_.substr(start, at_ - start));
        std::int64_t whole = 0;
        const bool fits =
            at_ == whole_end
                ? std::from_chars(literal.data(), literal.data() + literal.size(), whole).ec ==
                      std::errc()
                : std::isfinite(g_ascii_strtod(literal.c_str(), nullptr));
        if (!fits) {
            fail_at(start, "number " + quoted(literal) + " is out of range");
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace

void check_json_text(std::string_view text) {
    Scanner(text).document();
}

}  // namespace mox::host
