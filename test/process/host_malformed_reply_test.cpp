// An owner that answers with other types, other sizes and numbers beyond all bounds: a module is
// told that the call failed, and goes on.
#include <moxhost/operator.h>
#include <moxplat/persist_store.h>
#include <shmem.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/shm.h>

#include "host_false_owner.hpp"
#include "host_module.hpp"
#include "wire/read_stamp_table.hpp"

namespace mox::test {
namespace {

constexpr guint64 pool_bytes = 8U << 20U;  // the smallest that there is
constexpr guint64 pool_end = SHM_POOL_ADDRESS + pool_bytes;

class MalformedReply : public ::testing::Test {
protected:
    void SetUp() override {
        pool_ = shmget(SHM_POOL_KEY, pool_bytes, IPC_CREAT | 0600);
        queue_ = msgget(IPC_PRIVATE, 0600);
        ASSERT_GE(pool_, 0);
        ASSERT_GE(queue_, 0);
    }
    void TearDown() override {
        shmctl(pool_, IPC_RMID, nullptr);
        msgctl(queue_, IPC_RMID, nullptr);
    }

    // A grant as text, by default one to be taken.
    struct Grant {
        gint64 id = 5;
        guint64 class_base = 0;
        guint64 class_tree = 0;
        guint64 read_stamps = SHM_POOL_ADDRESS + 64;
        guint64 loss_table = SHM_POOL_ADDRESS + 4096;
        guint64 bytes = pool_bytes;
        int pool_change = 0;
    };
    std::string text_of(const Grant& grant) const {
        return "(" + std::to_string(grant.id) + ", " + std::to_string(queue_) + ", uint64 " +
               std::to_string(grant.class_base) + ", uint64 " + std::to_string(grant.class_tree) +
               ", uint64 " + std::to_string(grant.read_stamps) + ", uint64 " +
               std::to_string(grant.loss_table) + ", " + std::to_string(pool_ + grant.pool_change) +
               ", uint64 " + std::to_string(grant.bytes) + ")";
    }
    Replies replies_with(const std::string& method, const std::string& reply) const {
        Replies replies = {{"Join", text_of(Grant())}, {"IsOverrideLimited", "(false,)"}};
        replies[method] = reply;
        return replies;
    }

    // Runs the body, which gives what is wrong, in a process that has such an owner.
    void with_owner(const Replies& replies,
                    const std::function<std::string(const std::string& run_dir)>& body) {
        const TempDir place;
        const std::string run_dir = place.path("").string();
        ASSERT_EQ(chmod(run_dir.c_str(), 0700), 0);
        const pid_t owner = fork();
        if (owner == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            play_owner(run_dir, replies);
        }
        EXPECT_TRUE(
            eventually([&] { return access((run_dir + "/moxd.sock").c_str(), F_OK) == 0; }));
        const pid_t module = fork();
        if (module == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            alarm(30);
            const std::string fault = body(run_dir);
            std::fprintf(stderr, "%s", fault.c_str());
            _exit(fault.empty() ? 0 : 1);
        }
        int status = -1;
        waitpid(module, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        kill(owner, SIGKILL);
        waitpid(owner, nullptr, 0);
    }

    // A joined module calls; "" when what came back is what it may be.
    using Call = std::function<std::string(MoxHostModule*)>;
    void joined_with(const Replies& replies, const Call& call) {
        with_owner(replies, [&](const std::string& run_dir) -> std::string {
            HostError error;
            MoxHostModule* const module =
                moxhost_join(run_dir.c_str(), "guest", MODULE_APP, error.out());
            if (module == nullptr) return error.text();
            const std::string fault = call(module);
            moxhost_leave(module);
            return fault;
        });
    }

    void expect_join_refused(const std::string& reply) {
        with_owner(replies_with("Join", reply), [](const std::string& run_dir) -> std::string {
            HostError error;
            return moxhost_join(run_dir.c_str(), "guest", MODULE_APP, error.out()) != nullptr
                       ? "it joined"
                       : std::string(error.text().empty() ? "no cause" : "");
        });
    }

    int pool_ = -1;
    int queue_ = -1;
};

TEST_F(MalformedReply, ToAJoinThatIsWholeIsTaken) {
    joined_with(replies_with("Leave", "()"), [](MoxHostModule* module) -> std::string {
        return moxhost_reg_info(module)->module_id == 5 && moxhost_messages_lost(module) == 0
                   ? ""
                   : "another grant";
    });
}

TEST_F(MalformedReply, ToAJoinOfOtherTypesIsRefused) {
    for (const char* const reply : {no_reply, "()", "(1, 2)", "('a', 'b')", "([1, 2, 3],)"}) {
        SCOPED_TRACE(reply);
        expect_join_refused(reply);
    }
}

TEST_F(MalformedReply, ToAJoinWithANumberThatNoModuleHasIsRefused) {
    for (const gint64 id : {gint64{0}, gint64{-1}, gint64{128}, gint64{G_MAXINT32}}) {
        SCOPED_TRACE(id);
        expect_join_refused(text_of({.id = id}));
    }
}

TEST_F(MalformedReply, ToAJoinThatLeadsOutOfThePoolIsRefused) {
    const guint64 places[] = {1,        SHM_POOL_ADDRESS - 8, SHM_POOL_ADDRESS + 2, pool_end - 2,
                              pool_end, G_MAXUINT64};
    for (const guint64 place : places) {
        SCOPED_TRACE(place);
        expect_join_refused(text_of({.class_base = place}));
        expect_join_refused(text_of({.class_tree = place}));
        expect_join_refused(text_of({.read_stamps = place}));
        expect_join_refused(text_of({.loss_table = place}));
    }
}

TEST_F(MalformedReply, ToAJoinWithStampsThatGoOnBehindThePoolIsRefused) {
    auto* const pool = static_cast<guint8*>(shmat(pool_, nullptr, 0));
    ASSERT_NE(pool, reinterpret_cast<guint8*>(-1));
    const guint32 too_many = pool_bytes / sizeof(host::wire::ReadStamp);
    std::memcpy(pool + 64, &too_many, sizeof too_many);
    shmdt(pool);
    expect_join_refused(text_of({}));
}

TEST_F(MalformedReply, ToAJoinWithAnotherPoolIsRefused) {
    expect_join_refused(text_of({.pool_change = 1}));
    for (const guint64 bytes : {guint64{0}, guint64{1}, pool_bytes + 4096, 2 * pool_bytes,
                                G_MAXUINT64, guint64{1} << 33U}) {
        SCOPED_TRACE(bytes);
        expect_join_refused(text_of({.bytes = bytes}));
    }
}

struct Asked {
    const char* method;
    const char* reply;  // one that is taken, with the longest texts and the largest numbers
    std::function<bool(MoxHostModule*, GError**)> call;
};

template <typename Function>
bool list(Function function, GError** error) {
    gsize count = 0;
    gpointer const infos = function(&count, error);
    g_free(infos);
    return infos != nullptr;
}

const std::string long_text(5000, 'n');
const std::string object_info = "('" + long_text +
                                "', '', '', '', uint32 4294967295, "
                                "uint32 4294967295, uint32 4294967295, uint32 4294967295, true)";

const std::string objects_reply = "([" + object_info + ", " + object_info + "],)";
const std::string classes_reply =
    "([('" + long_text + "', '', '', uint32 1, uint32 2, uint32 4294967295)],)";
const std::string properties_reply =
    "([('" + long_text +
    "', '', -2147483648, '', uint32 4294967295, uint32 1, uint32 2, "
    "-1, ['', 'x'], uint64 18446744073709551615)],)";
const std::string modules_reply = "([('" + long_text +
                                  "', -1, -1, -1, -1, int64 -1, uint32 1, uint32 2, uint32 3, "
                                  "uint64 4, uint64 5, uint64 6, uint64 7)],)";
const std::string locks_reply =
    "([('" + long_text +
    "', -1, -1, -1, -1, true, "
    "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,"
    "27,28,29,30,31,32,33,34,35,36,37,38,39,40])],)";
const std::string routes_reply = "([(b'" + long_text + "', -1, -1), (b'', 0, 0)],)";

std::vector<Asked> asked_calls() {
    const auto strings = [](gchar** names) {
        g_strfreev(names);
        return names != nullptr;
    };
    return {
        {"ListObjects", "(['', 'a'],)",
         [=](MoxHostModule* m, GError** e) { return strings(moxhost_list_objects(m, "", e)); }},
        {"ListBoards", "(['', 'a'],)",
         [=](MoxHostModule* m, GError** e) { return strings(moxhost_list_boards(m, e)); }},
        {"ObjectInfos", objects_reply.c_str(),
         [](MoxHostModule* m, GError** e) {
             return list([&](gsize* n, GError** x) { return moxhost_object_infos(m, "", n, x); },
                         e);
         }},
        {"ClassInfos", classes_reply.c_str(),
         [](MoxHostModule* m, GError** e) {
             return list([&](gsize* n, GError** x) { return moxhost_class_infos(m, n, x); }, e);
         }},
        {"PropertyInfos", properties_reply.c_str(),
         [](MoxHostModule* m, GError** e) {
             MoxHostPropertyInfo* const infos = moxhost_property_infos(m, "o", nullptr, e);
             moxhost_property_infos_free(infos);
             return infos != nullptr;
         }},
        {"ModuleInfos", modules_reply.c_str(),
         [](MoxHostModule* m, GError** e) {
             return list([&](gsize* n, GError** x) { return moxhost_module_infos(m, n, x); }, e);
         }},
        {"LockInfos", locks_reply.c_str(),
         [](MoxHostModule* m, GError** e) {
             return list([&](gsize* n, GError** x) { return moxhost_lock_infos(m, TRUE, n, x); },
                         e);
         }},
        {"ListRoutes", routes_reply.c_str(),
         [](MoxHostModule* m, GError** e) {
             return list([&](gsize* n, GError** x) { return moxhost_list_routes(m, n, x); }, e);
         }},
        {"PoolUsage", "(uint32 4294967295, uint32 4294967295)",
         [](MoxHostModule* m, GError** e) {
             return moxhost_pool_usage(m, nullptr, nullptr, e) != FALSE;
         }},
        {"EventsSent", "(uint64 7,)",
         [](MoxHostModule* m, GError** e) { return moxhost_events_sent(m, e) >= 0; }},
        {"UnplugBoard", "(uint32 4294967295, ['', 'x'])",
         [](MoxHostModule* m, GError** e) {
             return moxhost_unplug_board(m, "b", nullptr, e) != FALSE;
         }},
        {"BoardState", "(true, uint32 4294967295)",
         [](MoxHostModule* m, GError** e) {
             return moxhost_board_state(m, "b", nullptr, nullptr, e) != FALSE;
         }},
    };
}

TEST_F(MalformedReply, OfOtherTypesIsAnErrorOfItsCall) {
    Replies replies = replies_with("Leave", "([1, 2],)");
    for (const char* const reply : {no_reply, "()", "('a',)", "([<1>, <'a'>],)"}) {
        SCOPED_TRACE(reply);
        for (const Asked& asked : asked_calls()) {
            replies[asked.method] = reply;
        }
        joined_with(replies, [](MoxHostModule* module) -> std::string {
            std::string faults;
            for (const Asked& asked : asked_calls()) {
                HostError error;
                const bool is_taken = asked.call(module, error.out());
                if (is_taken || error.text().empty()) faults += std::string(" ") + asked.method;
            }
            return faults;
        });
    }
}

TEST_F(MalformedReply, WithTheLargestNumbersAndTextsIsCut) {
    Replies replies = replies_with("Leave", "()");
    for (const Asked& asked : asked_calls()) {
        replies[asked.method] = asked.reply;
    }
    joined_with(replies, [](MoxHostModule* module) -> std::string {
        std::string faults;
        for (const Asked& asked : asked_calls()) {
            HostError error;
            if (!asked.call(module, error.out())) faults += asked.method + error.text();
        }
        return faults;
    });
}

TEST_F(MalformedReply, OfVeryManyEntriesIsTakenWhole) {
    constexpr gsize entries = 20000;
    std::string reply = "([" + object_info.substr(0);
    for (gsize at = 1; at < entries; ++at) {
        reply += ", ('o', '', '', '', 1, 2, 3, 4, false)";
    }
    joined_with(replies_with("ObjectInfos", reply + "],)"), [](MoxHostModule* module) {
        HostError error;
        gsize count = 0;
        MoxHostObjectInfo* const infos = moxhost_object_infos(module, "", &count, error.out());
        const bool is_whole = infos != nullptr && count == entries &&
                              infos[count].name[0] == '\0' &&
                              std::strlen(infos[0].name) < sizeof infos[0].name;
        g_free(infos);
        return std::string(is_whole ? "" : "not all: " + error.text());
    });
}

// The record's size here, filled with one byte.
std::string record_of_bytes(unsigned byte, gsize size) {
    std::string text = "(0, [byte " + std::to_string(byte);
    for (gsize at = 1; at < size; ++at) {
        text += ", " + std::to_string(byte);
    }
    return text + "])";
}

TEST_F(MalformedReply, ToALookUpIsNoObject) {
    const gsize size = sizeof(OBJECT_HEAD_S);
    const std::string replies[] = {no_reply,
                                   "()",
                                   "(0, @ay [])",
                                   "(-1, @ay [])",
                                   record_of_bytes(0, size),
                                   record_of_bytes(0xff, size),
                                   record_of_bytes(0x90, size),
                                   record_of_bytes(1, size - 1),
                                   record_of_bytes(1, 70000)};
    for (const std::string& reply : replies) {
        SCOPED_TRACE(reply.substr(0, 30));
        joined_with(replies_with("CopyObject", reply), [](MoxHostModule* module) -> std::string {
            HostError error;
            const bool is_found = lom_get_object_handle("Tank") != 0 ||
                                  moxhost_list_properties(module, "Tank", error.out()) != nullptr;
            return is_found ? "it was taken" : "";
        });
    }
}

TEST_F(MalformedReply, ToAReadOfASavedValueIsNoValue) {
    for (const char* const reply :
         {no_reply, "()", "(0, '', @ay [])", "(0, 'zzzzzzzzzzzz', [byte 1])",
          "(0, 's', [byte 65, 66])", "(0, 'as', [byte 65, 200])", "(0, 'i', [byte 1])",
          "(0, 's', [byte 252, 0])"}) {
        SCOPED_TRACE(reply);
        joined_with(replies_with("ReadSaved", reply), [](MoxHostModule*) -> std::string {
            CFG_READ_S read = {};
            const gint32 status = cfg_read_v2("Tank", "Label", &read, FALSE, PER_MODE_PERMANENT);
            const bool is_empty = read.type == nullptr && read.data_out == nullptr;
            cfg_read_free(&read);
            return status < PER_OK && is_empty ? "" : "it was taken: " + std::to_string(status);
        });
    }
}

}  // namespace
}  // namespace mox::test
