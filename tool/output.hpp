// The tool's standard output.
//
// What holds: it carries what was asked for and nothing else. The log lines of the library, which
// it writes to the standard output, go to the error output with --log and nowhere without it,
// because main moves descriptor 1 aside before it joins. Colour is used on a terminal only, not
// when NO_COLOR is set (to anything but "") or TERM is "dumb". A reader that has gone
// (OutputClosed) ends the tool quietly with exit code 0: it has what it wanted.
#ifndef MOX_TOOL_OUTPUT_HPP
#define MOX_TOOL_OUTPUT_HPP

#include <exception>
#include <span>
#include <string>
#include <string_view>

namespace mox::tool {

// The reader of the standard output has gone.
class OutputClosed : public std::exception {
public:
    const char* what() const noexcept override { return "the reader of the output has gone"; }
};

// How a piece of text looks on a terminal.
enum class Style {
    plain,
    heading,  // bold
    name,     // of a class, in a tree of objects
    good,     // green
    warning,  // yellow
    bad,      // red
    faint     // what is there but does not matter
};

class Output {
public:
    // Writes to a copy of a descriptor. Throws Failed when that is closed.
    explicit Output(int descriptor);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Appends text; it is written when enough is there, or with flush. Throws like flush.
    void text(std::string_view text);

    // Appends text and a line's end.
    void line(std::string_view text = {});

    // Writes what is there, waiting as long as the reader takes. Throws OutputClosed when the
    // reader has gone, Failed when it cannot be written otherwise.
    void flush();

    // Writes a text at once, behind what is there; as flush. One thread at a time may use an
    // Output; which one may change.
    void write_now(std::string_view text);

    // Whether the reader has gone, as far as that shows without writing. Any thread, at any time.
    bool has_lost_reader() const;

    bool is_terminal() const { return is_terminal_; }
    bool has_colour() const { return has_colour_; }
    // Whether box characters can be shown: the locale's characters are UTF-8.
    bool has_unicode() const { return has_unicode_; }

    // The text with the style's escape sequences, or as it is where there is no colour.
    std::string styled(Style style, std::string_view text) const;

private:
    void write_all(std::string_view text);

    int descriptor_;
    bool is_terminal_;
    bool has_colour_;
    bool has_unicode_;
    std::string waiting_;
};

// A text that cannot move the cursor or change the terminal: control characters and bytes that are
// no UTF-8 are shown as escapes such as \n, \u001b and \xff. For names and messages; values of
// properties are shown as GVariant text, which does the same.
std::string shown(std::string_view text);

// A message in which every argument of the command line that is longer than people read is cut,
// with a mark.
std::string with_cut_arguments(std::string message, std::span<char* const> arguments);

// How many columns a text takes on a terminal. text: UTF-8 without control characters.
std::size_t width_of(std::string_view text);

}  // namespace mox::tool

#endif
