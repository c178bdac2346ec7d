// Every option is taken as a list of texts: one that is given twice is an error, not an overruling,
// and numbers are read whole or not at all.
#include "watch_options.hpp"

#include <cfloat>
#include <charconv>

#include "glib_owners.hpp"
#include "verb.hpp"

namespace mox::tool {
namespace {

constexpr double longest_timeout_s = 1e9;

// The one text of an option, if it was given.
std::optional<std::string> single(const char* option, gchar** texts) {
    const StringsPtr owned(texts);
    if (texts == nullptr) return std::nullopt;
    if (texts[1] != nullptr) throw WrongUsage(std::string(option) + " is given twice");
    if (texts[0][0] == '\0') throw WrongUsage(std::string(option) + " has no value");
    return texts[0];
}

template <typename Number>
std::optional<Number> number_of(const std::optional<std::string>& text) {
    if (!text) return std::nullopt;
    Number number{};
    const char* const end = text->data() + text->size();
    const auto result = std::from_chars(text->data(), end, number);
    if (result.ec != std::errc{} || result.ptr != end) return Number{0};  // no option wants 0
    return number;
}

std::optional<double> positive(const char* option, const std::optional<std::string>& text,
                               double most, const char* most_text) {
    const std::optional<double> number = number_of<double>(text);
    if (number && !(*number > 0 && *number <= most)) {
        throw WrongUsage(std::string(option) + " needs a number above 0, at most " + most_text +
                         ", not \"" + *text + "\"");
    }
    return number;
}

}  // namespace

WatchOptions read_watch_options() {
    WatchOptions options;
    options.class_name = single("--class", given_to_watch.class_texts).value_or("");
    options.object = single("--object", given_to_watch.object_texts).value_or("");
    options.property = single("--property", given_to_watch.property_texts).value_or("");
    options.min_change =
        positive("--min-change", single("--min-change", given_to_watch.change_texts), DBL_MAX,
                 "1.7976931348623157e308");
    options.timeout_s = positive("--timeout", single("--timeout", given_to_watch.timeout_texts),
                                 longest_timeout_s, "1000000000");
    const std::optional<std::string> count = single("--count", given_to_watch.count_texts);
    options.count = number_of<guint64>(count);
    if (options.count && *options.count == 0) {
        throw WrongUsage("--count needs a whole number from 1 to 18446744073709551615, not \"" +
                         *count + "\"");
    }
    return options;
}

}  // namespace mox::tool
