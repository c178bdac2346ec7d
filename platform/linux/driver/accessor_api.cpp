// The calls that move values: each finds the accessor and its chip, joins the path and hands over
// to the kind of place.
#include <moxplat/driver.h>

#include <array>
#include <climits>
#include <cstring>

#include "registry.hpp"

namespace mox::driver {
namespace {

// A way to a value: the location stays alive as long as the route does.
struct Target {
    Route route;
    std::array<char, PATH_MAX> path;

    const Location& location() const { return *route.accessor->accessor; }
};

// The chip's path and the accessor's file below it.
gint32 join_path(const std::string& directory, const std::string& file,
                 std::array<char, PATH_MAX>& path) {
    const std::size_t separator = file.empty() ? 0 : 1;
    if (directory.size() + separator + file.size() >= path.size()) {
        return DRIVER_ERR_BAD_CHIP;
    }
    char* end = path.data();
    std::memcpy(end, directory.data(), directory.size());
    end += directory.size();
    if (separator != 0) {
        *end++ = '/';
    }
    std::memcpy(end, file.data(), file.size());
    end[file.size()] = '\0';
    return DRIVER_OK;
}

// More than this cannot lie in one object of memory, so no buffer is that long.
constexpr gsize longest_block = G_MAXINT32;

// The way to length bytes of an accessor's value.
gint32 find_target(const gchar* accessor, gsize length, Target& target) {
    if (length > longest_block) {
        return DRIVER_ERR_RANGE;
    }
    target.route = Registry::instance().route(accessor);
    const Route& route = target.route;
    if (!route.accessor) {
        return DRIVER_ERR_UNKNOWN_ACCESSOR;
    }
    if (!route.accessor->accessor || !route.accessor->accessor->problem.empty()) {
        return DRIVER_ERR_BAD_ACCESSOR;
    }
    if (!route.chip) {
        return DRIVER_ERR_UNKNOWN_CHIP;
    }
    if (!route.chip->chip || !route.chip->chip->problem.empty()) {
        return DRIVER_ERR_BAD_CHIP;
    }
    return join_path(route.chip->chip->path, target.location().file, target.path);
}

}  // namespace
}  // namespace mox::driver

gint32 accessor_read(const gchar* accessor, gint32 offset, gsize length, gpointer out) {
    using namespace mox::driver;
    if (accessor == nullptr || out == nullptr || offset < 0 || (length == 0 && offset != 0)) {
        return DRIVER_ERR_BAD_ARGUMENT;
    }
    Target target;
    const gint32 code = find_target(accessor, length, target);
    if (code != DRIVER_OK) {
        return code;
    }
    const auto& place = target.location().place;
    if (const auto* raw = std::get_if<RawPlace>(&place)) {
        return read_raw(target.path.data(), *raw, offset, length, out);
    }
    return read_text_place(target.path.data(), *std::get_if<TextPlace>(&place), offset, length,
                           out);
}

gint32 accessor_write(const gchar* accessor, gint32 offset, gsize length, gconstpointer in) {
    using namespace mox::driver;
    if (accessor == nullptr || in == nullptr || offset < 0 || length == 0) {
        return DRIVER_ERR_BAD_ARGUMENT;
    }
    Target target;
    const gint32 code = find_target(accessor, length, target);
    if (code != DRIVER_OK) {
        return code;
    }
    const auto& place = target.location().place;
    if (const auto* raw = std::get_if<RawPlace>(&place)) {
        return write_raw(target.path.data(), *raw, offset, length, in);
    }
    return write_text_place(target.path.data(), *std::get_if<TextPlace>(&place), offset, length,
                            in);
}
