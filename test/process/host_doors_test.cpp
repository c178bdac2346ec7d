// Which users come as far as the owner's socket and its System V objects: modes as the file system
// and the system's lists show them, and processes that play other users.
#include <grp.h>
#include <sys/shm.h>

#include <set>

#include "host_access_model.hpp"
#include "wire/segment.hpp"

namespace mox::test {
namespace {

constexpr uid_t other_user = 65534;
constexpr gid_t stranger_group = 65534;

// A System V object as the system lists it.
struct Listed {
    std::string kind;
    unsigned mode;
    gid_t group;
    gid_t makers_group;
};

std::vector<Listed> listed_objects() {
    std::vector<Listed> objects;
    for (const char* const kind : {"shm", "msg"}) {
        std::ifstream list(std::string("/proc/sysvipc/") + kind);
        std::string line;
        std::getline(list, line);
        while (std::getline(list, line)) {
            // shm: key id perms size cpid lpid nattch uid gid cuid cgid;
            // msg: key id perms cbytes qnum lspid lrpid uid gid cuid cgid.
            std::istringstream fields(line);
            std::string skipped;
            Listed object = {kind, 0, 0, 0};
            fields >> skipped >> skipped >> std::oct >> object.mode >> std::dec;
            for (int at = 0; at < 5; ++at) {
                fields >> skipped;
            }
            fields >> object.group >> skipped >> object.makers_group;
            EXPECT_TRUE(fields) << line;
            objects.push_back(object);
        }
    }
    return objects;
}

// 0 when there is nothing.
unsigned mode_of_or_none(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

unsigned mode_of(const std::string& path) {
    EXPECT_TRUE(std::filesystem::exists(path)) << path;
    return mode_of_or_none(path);
}

gid_t group_of(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_gid;
}

// A group that this process may take: root any other one, everybody else its own.
struct NamedGroup {
    std::string name;
    gid_t id = 0;
};
NamedGroup usable_group() {
    const group* own = getgrgid(getegid());
    NamedGroup found = {own == nullptr ? "" : own->gr_name, getegid()};
    const group* const daemon = getgrnam("daemon");
    const bool may_take = daemon != nullptr && setegid(daemon->gr_gid) == 0;
    if (may_take) {
        found = {daemon->gr_name, daemon->gr_gid};
        EXPECT_EQ(setegid(getgid()), 0);
    }
    return found;
}

// Becomes another user with these groups; false in a namespace of one user.
bool become_other_user(const std::vector<gid_t>& groups) {
    return setgroups(groups.size(), groups.data()) == 0 && setgid(stranger_group) == 0 &&
           setuid(other_user) == 0;
}

// Whether this process may play another user; where it may not, there is nobody to keep out.
bool can_play_others() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(become_other_user({stranger_group}) ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class OwnersDoors : public AccessTest {
protected:
    std::string socket() const { return owner_.run_dir() + "/moxd.sock"; }

    void start_with_group(const NamedGroup& group, const std::string& members = "") {
        ASSERT_NE(group.name, "");
        start(R"("group": ")" + group.name + R"(",)" + members);
    }

    // Others may pass the test's directory, down to the run directory.
    void let_others_pass() const { chmod(owner_.dir().path("").c_str(), 0711); }

    // Runs as another user in a child, where there are others. body gives "" or what went wrong.
    static void as_other_user(const std::vector<gid_t>& groups,
                              const std::function<std::string()>& body) {
        if (!can_play_others()) {
            return;
        }
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            alarm(60);
            const std::string fault =
                become_other_user(groups) ? body() : "not the user that was wanted";
            std::fprintf(stderr, "%s", fault.c_str());
            _exit(fault.empty() ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "the other user failed (above), status " << status;
    }

    // Why another user cannot join; "joined" when it can.
    std::string join_fault() const {
        HostError error;
        const ModulePtr module(
            moxhost_join(owner_.run_dir().c_str(), "guest", MODULE_APP, error.out()));
        return module == nullptr ? error.text() : "joined";
    }
};

TEST_F(OwnersDoors, AreForItsUserAloneWithoutAGroup) {
    start("");
    join_as("heater");
    ASSERT_EQ(value_of("Oven", "Heat"), "7");
    EXPECT_EQ(mode_of(owner_.run_dir()), 0700U);
    EXPECT_EQ(mode_of(socket()), 0600U);
    std::set<std::string> kinds;
    for (const Listed& object : listed_objects()) {
        kinds.insert(object.kind);
        EXPECT_EQ(object.mode, 0600U) << object.kind;
    }
    EXPECT_EQ(kinds, (std::set<std::string>{"msg", "shm"}));
}

TEST_F(OwnersDoors, AreForTheGroupThatTheProfileNamesAndForNoOther) {
    const NamedGroup group = usable_group();
    start_with_group(group);
    join_as("heater");
    ASSERT_EQ(value_of("Oven", "Heat"), "7");
    EXPECT_EQ(mode_of(owner_.run_dir()), 0710U);
    EXPECT_EQ(group_of(owner_.run_dir()), group.id);
    EXPECT_EQ(mode_of(socket()), 0660U);
    EXPECT_EQ(group_of(socket()), group.id);
    const std::vector<Listed> objects = listed_objects();
    EXPECT_GE(objects.size(), 3U);  // pool, semaphores, queues
    for (const Listed& object : objects) {
        EXPECT_EQ(object.mode, 0660U) << object.kind;
        EXPECT_EQ(object.group, group.id) << object.kind;
        EXPECT_EQ(object.makers_group, group.id) << object.kind;
    }
}

TEST_F(OwnersDoors, OpenAnExistingRunDirectoryToTheGroup) {
    const NamedGroup group = usable_group();
    ASSERT_EQ(mkdir(owner_.run_dir().c_str(), 0700), 0);
    start_with_group(group);
    EXPECT_EQ(mode_of(owner_.run_dir()), 0710U);
    EXPECT_EQ(group_of(owner_.run_dir()), group.id);
}

TEST_F(OwnersDoors, WithAGroupThatDoesNotExistAreNotMade) {
    ChildProcess& process = owner_.run(owner_.command(access_profile(R"("group": "no such",)")));
    EXPECT_EQ(process.wait(), 1);
    EXPECT_NE(
        process.errors().find("moxd: group \"no such\", which the profile names, does not exist"),
        std::string::npos)
        << process.errors();
    EXPECT_EQ(system_v_objects(), 0);
    EXPECT_FALSE(std::filesystem::exists(owner_.run_dir()));
}

TEST_F(OwnersDoors, LetAMemberOfTheGroupJoinReadWriteAndListen) {
    const NamedGroup group = usable_group();
    start_with_group(group, R"("modules": [{"name": "guest", "write": ["Lamp"]}],)");
    let_others_pass();
    as_other_user({group.id}, [this]() -> std::string {
        HostError error;
        const ModulePtr module(
            moxhost_join(owner_.run_dir().c_str(), "guest", MODULE_APP, error.out()));
        if (module == nullptr) return error.text();
        EventLog log(module.get());
        if (!moxhost_listen(module.get(), "Lamp", "Bright", error.out())) return error.text();
        if (write("Desk", "Bright", g_variant_new_int32(44)) != 0) return "not written";
        if (!log.wait_for(1)) return "no event";
        if (write("Tank", "Level", g_variant_new_int32(44)) != -2014) return "written";
        return value_of("Desk", "Bright") == "44" ? "" : "not read";
    });
}

TEST_F(OwnersDoors, KeepOtherUsersFromThePoolAndTheSocket) {
    start("");
    let_others_pass();
    as_other_user({stranger_group}, [this]() -> std::string {
        const int id = shmget(0x131231, 0, 0);
        if (id < 0) return "the pool is not there";
        if (shmget(0x131231, 0, 0666) >= 0) return "the pool may be opened";
        if (shmget(0x131231, 0, 0444) >= 0) return "the pool may be read";
        const std::string fault = join_fault();
        return fault.find("ermission denied") != std::string::npos ? "" : fault;
    });
}

TEST_F(OwnersDoors, HideFromNobodyWhoHasThePool) {
    start("");
    as_other_user({stranger_group}, [this]() -> std::string {
        const auto pool = host::wire::find_segment(0x131231);
        if (!pool) return "the pool is not found";
        if (pool->creator != owner_.process().pid()) return "it has another maker";
        if (pool->bytes < (8U << 20U)) return "it has another size";
        return pool->attached == 1 && pool->user == 0 && pool->changed_s > 0 ? "" : "wrong fields";
    });
}

TEST_F(OwnersDoors, RefuseAndLogAStrangerForWhomTheModesWereOpened) {
    start_with_group(usable_group());
    let_others_pass();
    ASSERT_EQ(chmod(owner_.run_dir().c_str(), 0711), 0);
    ASSERT_EQ(chmod(socket().c_str(), 0666), 0);
    as_other_user({stranger_group}, [&]() -> std::string {
        const std::string fault = join_fault();
        return fault.rfind("no owner at ", 0) == 0 ? "" : fault;
    });
    if (can_play_others()) {
        EXPECT_EQ(count_in_log("connection of user 65534, group 65534, process "), 1U);
    }
}

// What another user makes in a directory of its own looks like an owner's socket, and answers.
[[noreturn]] void play_false_owner(const std::string& run_dir) {
    alarm(60);
    if (setgid(stranger_group) != 0 || setuid(other_user) != 0 ||
        mkdir(run_dir.c_str(), 0755) != 0) {
        _exit(1);
    }
    gchar* const guid = g_dbus_generate_guid();
    GDBusServer* const server =
        g_dbus_server_new_sync(("unix:path=" + run_dir + "/moxd.sock").c_str(),
                               G_DBUS_SERVER_FLAGS_NONE, guid, nullptr, nullptr, nullptr);
    if (server == nullptr || chmod((run_dir + "/moxd.sock").c_str(), 0666) != 0) {
        _exit(1);
    }
    g_dbus_server_start(server);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    _exit(0);
}

TEST_F(OwnersDoors, AreNotTakenForThoseOfAnotherUser) {
    if (!can_play_others()) {
        return;
    }
    const TempDir place;
    ASSERT_EQ(chmod(place.path("").c_str(), 0777), 0);
    const std::string run_dir = place.path("run").string();
    const pid_t impostor = fork();
    if (impostor == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        play_false_owner(run_dir);
    }
    const std::string socket = run_dir + "/moxd.sock";
    EXPECT_TRUE(eventually([&] { return mode_of_or_none(socket) == 0666U; }));
    HostError error;
    EXPECT_EQ(moxhost_join(run_dir.c_str(), "guest", MODULE_APP, error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_NO_OWNER);
    EXPECT_NE(error.text().find("runs as user 65534"), std::string::npos) << error.text();
    kill(impostor, SIGKILL);
    waitpid(impostor, nullptr, 0);
}

}  // namespace
}  // namespace mox::test
