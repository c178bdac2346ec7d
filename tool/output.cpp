// A write waits for a slow reader also when the descriptor is set not to block: somebody else may
// have set it so for a terminal that is shared.
#include "output.hpp"

#include <fcntl.h>
#include <glib.h>
#include <langinfo.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "verb.hpp"

namespace mox::tool {
namespace {

constexpr std::size_t enough_to_write = 65536;

bool wants_colour() {
    const gchar* const no_colour = g_getenv("NO_COLOR");
    const gchar* const terminal = g_getenv("TERM");
    return (no_colour == nullptr || no_colour[0] == '\0') && terminal != nullptr &&
           terminal[0] != '\0' && g_strcmp0(terminal, "dumb") != 0;
}

const char* start_of(Style style) {
    switch (style) {
        case Style::plain:
            return "";
        case Style::heading:
            return "\033[1m";
        case Style::name:
            return "\033[36m";
        case Style::good:
            return "\033[32m";
        case Style::warning:
            return "\033[33m";
        case Style::bad:
            return "\033[1;31m";
        case Style::faint:
            return "\033[2m";
    }
    return "";
}

std::string escape_of(gunichar character) {
    switch (character) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            break;
    }
    char escape[16];
    std::snprintf(escape, sizeof escape, character > 0xffff ? "\\U%08x" : "\\u%04x", character);
    return escape;
}

}  // namespace

Output::Output(int descriptor)
    : descriptor_(fcntl(descriptor, F_DUPFD_CLOEXEC, 3)),
      is_terminal_(isatty(descriptor) != 0),
      has_colour_(is_terminal_ && wants_colour()),
      has_unicode_(g_strcmp0(nl_langinfo(CODESET), "UTF-8") == 0) {
    if (descriptor_ < 0) {
        throw Failed(std::string("the standard output cannot be used: ") + g_strerror(errno));
    }
}

Output::~Output() {
    close(descriptor_);
}

void Output::text(std::string_view text) {
    waiting_ += text;
    if (waiting_.size() >= enough_to_write) {
        flush();
    }
}

void Output::line(std::string_view line_text) {
    waiting_ += line_text;
    text("\n");
}

void Output::flush() {
    std::string text;
    text.swap(waiting_);
    write_all(text);
}

void Output::write_now(std::string_view text) {
    flush();
    write_all(text);
}

void Output::write_all(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor_, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd wanted = {descriptor_, POLLOUT, 0};
            poll(&wanted, 1, -1);
        } else if (errno == EPIPE) {
            throw OutputClosed();
        } else if (errno != EINTR) {
            throw Failed(std::string("cannot write to the standard output: ") + g_strerror(errno));
        }
    }
}

bool Output::has_lost_reader() const {
    pollfd asked = {descriptor_, 0, 0};
    return poll(&asked, 1, 0) == 1 && (asked.revents & (POLLERR | POLLHUP)) != 0;
}

std::string Output::styled(Style style, std::string_view text) const {
    if (!has_colour_ || style == Style::plain || text.empty()) {
        return std::string(text);
    }
    return start_of(style) + std::string(text) + "\033[0m";
}

std::string shown(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const auto room = static_cast<gssize>(text.size());
        const gunichar character = g_utf8_get_char_validated(text.data(), room);
        // Both answers for bad bytes are above every character. A zero byte is none, either.
        if (character > 0x10ffff) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x",
                          unsigned{static_cast<unsigned char>(text.front())});
            result += escape;
            text.remove_prefix(1);
            continue;
        }
        const auto length = static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr));
        result += g_unichar_isprint(character) != FALSE ? std::string(text.substr(0, length))
                                                        : escape_of(character);
        text.remove_prefix(length);
    }
    return result;
}

std::string with_cut_arguments(std::string message, std::span<char* const> arguments) {
    constexpr std::size_t longest = 64;
    constexpr std::size_t longest_path = 128;  // more than a socket's can have
    for (const std::string_view argument : arguments) {
        const std::size_t equals = argument.find('=');
        const std::string_view value = equals == argument.npos ? "" : argument.substr(equals + 1);
        for (const std::string_view echoed : {argument, value}) {
            const bool is_path = !echoed.empty() && echoed.front() == '/';
            if (echoed.size() <= (is_path ? longest_path : longest)) continue;
            std::size_t end = longest;
            // Not within a character: its later bytes begin with the bits 10.
            while (end > longest - 4 &&
                   (static_cast<unsigned char>(echoed[end]) & 0xc0U) == 0x80U) {
                --end;
            }
            const std::string cut = std::string(echoed.substr(0, end)) + "...";
            for (std::size_t at = message.find(echoed); at != std::string::npos;
                 at = message.find(echoed, at + cut.size())) {
                message.replace(at, echoed.size(), cut);
            }
        }
    }
    return message;
}

std::size_t width_of(std::string_view text) {
    std::size_t width = 0;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
        const gunichar character = g_utf8_get_char(at);
        if (g_unichar_iszerowidth(character) == FALSE) {
            width += g_unichar_iswide(character) != FALSE ? 2 : 1;
        }
    }
    return width;
}

}  // namespace mox::tool
