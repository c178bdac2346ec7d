// A model with boards, and what a listener is told about them.
#ifndef MOX_TEST_PROCESS_HOST_BOARD_MODEL_HPP
#define MOX_TEST_PROCESS_HOST_BOARD_MODEL_HPP

#include <poll.h>
#include <sys/mman.h>

#include "host_module.hpp"

namespace mox::test {

inline constexpr guint32 fans_position = 7;
inline constexpr guint32 spare_position = 8;

// Main is always there. The board "fans" is plugged from the start, with a chip and an accessor of
// its own (the file chip); the board "spare" is not. Fans are the desk's.
inline std::string board_profile(const HostOwner& owner) {
    return R"({
  "refresh_ms": 3600000,
  "classes": [
    {"name": "Chip", "properties": [{"name": "Path", "type": "s"}]},
    {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Kind", "type": "s"},
                                        {"name": "Type", "type": "s"}]},
    {"name": "Fan", "module": "desk", "properties": [{"name": "Label", "type": "s"}, {"name": "Speed", "type": "i"},
                                                     {"name": "Goal", "type": "i"}]},
    {"name": "Probe", "properties": [{"name": "Level", "type": "i"}]},
    {"name": "Expression",
     "properties": [{"name": "X", "type": "sp"}, {"name": "Y", "type": "d"}, {"name": "Z", "type": "i"},
                    {"name": "Xcache", "type": "d"}, {"name": "Ycache", "type": "d"}, {"name": "Zcache", "type": "d"},
                    {"name": "Formula", "type": "s"}, {"name": "Value", "type": "i"}]}
  ],
  "objects": [
    {"name": "Main", "class": "Fan", "properties": {"Label": "main", "Speed": 1, "Goal": {"value": 2, "persist": "reset"}}}
  ],
  "boards": [
    {"name": "fans", "position": 7, "objects": [
      {"name": "chip", "class": "Chip", "type": "Physical", "properties": {"Path": ")" +
           owner.dir().path("chip").string() + R"("}},
      {"name": "speed", "class": "Accessor", "type": "Physical",
       "properties": {"Chip": "chip", "Kind": "attribute", "Type": "i"}},
      {"name": "Fan2", "class": "Fan", "mutex": "Fan1", "properties": {"Label": "second", "Speed": 20}},
      {"name": "Fan1", "class": "Fan",
       "properties": {"Label": "first", "Speed": {"accessor": "speed"}, "Goal": {"value": 100, "persist": "permanent"}}},
      {"name": "Sum", "class": "Expression", "properties": {"X": "Fan1.Speed", "Y": 1000, "Formula": "X + Y"}}
    ]},
    {"name": "spare", "position": 8, "plugged": false, "objects": [
      {"name": "Spare1", "class": "Fan", "mutex": "Main", "properties": {"Label": "one", "Speed": 11, "Goal": {"value": 5, "persist": "reset"}}},
      {"name": "Spare2", "class": "Fan", "properties": {"Label": "two", "Speed": 12}},
      {"name": "Probe1", "class": "Probe", "properties": {"Level": 3}}
    ]}
  ]
})";
}

// What a listener is told of objects that come and go, in the order of arrival.
class NoticeLog {
public:
    explicit NoticeLog(MoxHostModule* module) : module_(module) {
        moxhost_set_message_func(module, on_message, this);
    }
    ~NoticeLog() { moxhost_set_message_func(module_, nullptr, nullptr); }
    NoticeLog(const NoticeLog&) = delete;
    NoticeLog& operator=(const NoticeLog&) = delete;

    // "+8 | Fan Spare1" for new objects, "-8" for removed ones, "Fan1.Speed" for a property event.
    const std::vector<std::string>& notices() const { return notices_; }

    // Whether Fan1 could be found when the last notice was handed over.
    bool has_found() const { return has_found_; }

    bool wait_for(std::size_t count) {
        return eventually([this, count] {
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            return notices_.size() >= count;
        });
    }

private:
    static std::string text_of(const MOX_MSG_S& message) {
        guint32 numbers[2] = {};
        if (message.head.msg_type == MOX_MSG_DEL_OBJECT) {
            std::memcpy(numbers, message.data, sizeof numbers[0]);
            return "-" + std::to_string(numbers[0]);
        }
        if (message.head.msg_type != MOX_MSG_ADD_OBJECT) {
            MSG_EVENT_DATA_HEAD_S head;
            std::memcpy(&head, message.data, sizeof head);
            return std::string(head.object_name) + '.' + head.property_name;
        }
        std::memcpy(numbers, message.data, sizeof numbers);
        GVariant* const names = g_variant_ref_sink(
            g_variant_new_from_data(G_VARIANT_TYPE_STRING_ARRAY, message.data + sizeof numbers,
                                    numbers[0], FALSE, nullptr, nullptr));
        gchar** const strings = g_variant_dup_strv(names, nullptr);
        gchar* const joined = g_strjoinv(" ", strings);
        const std::string text = "+" + std::to_string(numbers[1]) + ' ' + joined;
        g_free(joined);
        g_strfreev(strings);
        g_variant_unref(names);
        return text;
    }

    static void on_message(MoxHostModule*, const MOX_MSG_S* message, gint64, gpointer self) {
        auto* const log = static_cast<NoticeLog*>(self);
        log->notices_.push_back(text_of(*message));
        log->has_found_ = lom_get_object_handle("Fan1") != 0;
    }

    MoxHostModule* module_;
    std::vector<std::string> notices_;
    bool has_found_ = false;
};

// A module in a process of its own that holds copies.
class Companion {
public:
    enum class Kind {
        silent,  // never runs its main loop
        lively
    };

    // Before this process has threads; returns when it holds copies of the objects.
    Companion(const HostOwner& owner, const char* name, Kind kind,
              const std::vector<const char*>& objects) {
        int ready[2] = {-1, -1};
        int quit[2] = {-1, -1};
        if (pipe(ready) != 0 || pipe(quit) != 0) {
            throw std::runtime_error("no pipe");
        }
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            alarm(60);
            close(quit[1]);
            MoxHostModule* const module =
                moxhost_join(owner.run_dir().c_str(), name, MODULE_APP, nullptr);
            for (const char* const object : objects) {
                if (module == nullptr || lom_get_object_handle(object) == 0) {
                    _exit(1);
                }
            }
            close(ready[1]);
            live(kind, quit[0]);
            moxhost_leave(module);
            _exit(0);
        }
        close(ready[1]);
        close(quit[0]);
        quit_ = quit[1];
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 0);
        close(ready[0]);
    }
    ~Companion() {
        die();
        close(quit_);
    }
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;

    void die() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            pid_ = 0;
        }
    }

    // Has it leave as it should; its exit status.
    int leave() {
        int status = -1;
        EXPECT_EQ(write(quit_, "q", 1), 1);
        waitpid(pid_, &status, 0);
        pid_ = 0;
        return status;
    }

private:
    // Until it is told to leave.
    static void live(Kind kind, int quit) {
        pollfd waiting = {quit, POLLIN, 0};
        while (poll(&waiting, 1, 5) == 0) {
            while (kind == Kind::lively && g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
        }
    }

    int quit_ = -1;
    pid_t pid_ = 0;
};

inline guint32 pool_used(MoxHostModule* module) {
    guint32 used = 0;
    EXPECT_TRUE(moxhost_pool_usage(module, nullptr, &used, nullptr));
    return used;
}

// "" or what went wrong.
inline std::string plug(MoxHostModule* module, const char* board) {
    HostError error;
    return moxhost_plug_board(module, board, error.out()) != FALSE ? "" : error.text();
}
inline std::string unplug(MoxHostModule* module, const char* board) {
    HostError error;
    return moxhost_unplug_board(module, board, nullptr, error.out()) != FALSE ? "" : error.text();
}

using Names = std::vector<std::string>;

}  // namespace mox::test

#endif
