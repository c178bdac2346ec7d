// Diagnostic output: one printf-style function whose console level is looked up anew at every
// message, so that an operator changes it by renaming a file. Nothing here takes a lock; each
// message is put together on its caller's stack.
#include "pub/debug.hpp"

#include <dirent.h>
#include <glib/gprintf.h>
#include <moxplat/bounded.h>
#include <moxplat/osal.h>
#include <pub.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <memory>

#include "base/published.hpp"

const gchar* g_module_name = "";
gchar file_name[64];

namespace {

// Otherwise a directory whose entries have large inode numbers could not be read on 32-bit.
static_assert(sizeof(dirent::d_ino) == 8);

constexpr gint32 kVerbosityMask = 0x0F;
constexpr gint32 kSystemLogBit = 0x10;
constexpr gint32 kFirstStamped = MX_DBG_INSIGHT;
constexpr gsize kMessageLength = 512;
constexpr gsize kErrorTagLength = 256;

enum class PathState { kEmpty, kBeingWritten, kReady };
std::atomic<PathState> g_path_state{PathState::kEmpty};

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

void build_level_path(gchar* path, gsize room) {
    snprintf_s(path, room, "/tmp/dbglvl/%.*s", 32, mox::read_published(g_module_name));
}

// Opens a directory. Nearly every module has none, and to ask whether it is there costs two thirds
// of an open that fails.
DIR* open_if_there(const gchar* path) {
    return access(path, F_OK) == 0 ? opendir(path) : nullptr;
}

// Opens the level directory. Threads that meet here before the path is kept each build the same
// text; one keeps it.
DIR* open_level_directory() {
    if (g_path_state.load(std::memory_order_acquire) == PathState::kReady) {
        return open_if_there(file_name);
    }
    gchar path[sizeof(file_name)];
    build_level_path(path, sizeof(path));
    PathState expected = PathState::kEmpty;
    if (g_path_state.compare_exchange_strong(expected, PathState::kBeingWritten)) {
        g_strlcpy(file_name, path, sizeof(file_name));
        g_path_state.store(PathState::kReady, std::memory_order_release);
    }
    return open_if_there(path);
}

// Writes the prefix of a message and returns its length, at most room - 1.
gsize format_prefix(gint32 options, gchar* text, gsize room) {
    const gchar* module_name = mox::read_published(g_module_name);
    gint length = 0;
    if (options >= kFirstStamped && options < kSystemLogBit) {
        const gulong ticks = osal_tick_get();
        length =
            snprintf_s(text, room, "[ %d:%d:%d.%03d ][ %.*s ] ", static_cast<gint>(ticks / 3600000),
                       static_cast<gint>(ticks / 60000 % 60), static_cast<gint>(ticks / 1000 % 60),
                       static_cast<gint>(ticks % 1000), 32, module_name);
    } else {
        length = snprintf_s(text, room, "[ %.*s ] ", 32, module_name);
        if (options == MX_DBG_ERR && length > 0) {
            const auto used = static_cast<gsize>(length);
            const gsize tag_room = room - used < kErrorTagLength ? room - used : kErrorTagLength;
            const gint tag = snprintf_s(text + used, tag_room, "%s ", "\x1b[0;31mERROR:\x1b[0m");
            length += tag > 0 ? tag : 0;
        }
    }
    const gsize used = length < 0 ? 0 : static_cast<gsize>(length);
    return used < room ? used : room - 1;
}

}  // namespace

gboolean pub_log_init([[maybe_unused]] const gchar* logpath, const gchar* module_name) {
    mox::publish(g_module_name, module_name == nullptr ? "" : module_name);
    return TRUE;
}

gboolean pub_env_higher_level(gint32 level) {
    const gint32 verbosity = level & kVerbosityMask;
    if (level == MX_DBG_ERR || verbosity == MX_DBG_INFO) {
        return TRUE;
    }
    const std::unique_ptr<DIR, CloseDirectory> directory(open_level_directory());
    if (!directory) {
        return FALSE;
    }
    while (const dirent* entry = readdir(directory.get())) {
        if (entry->d_name[0] != '.') {
            return verbosity <= std::strtol(entry->d_name, nullptr, 10);
        }
    }
    return FALSE;
}

void pub_debug_print(gint32 options, const gchar* fmt, ...) {
    const gboolean is_shown = pub_env_higher_level(options);
    const gboolean is_logged = (options & kSystemLogBit) != 0;
    if (!is_shown && !is_logged) {
        return;
    }
    gchar text[kMessageLength];
    const gsize prefix = format_prefix(options, text, sizeof(text));
    va_list arguments;
    va_start(arguments, fmt);
    const gint result = vsnprintf_s(text + prefix, sizeof(text) - prefix, fmt, arguments);
    va_end(arguments);
    if (result < 0) {
        pub_debug_print(MX_DBG_LOG, "[%s][%d]:vsnprintf_s failed ret(%d).\n", "pub", __LINE__,
                        result);
    }
    if (is_logged) {
        syslog(LOG_LOCAL0 | LOG_DEBUG, "%s", text);
    }
    if (is_shown) {
        g_printf("%s", text);
    }
}
