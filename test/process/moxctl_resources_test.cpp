// moxctl locks, queues and modules beside processes that hold locks and do not take their messages.
#include <gmock/gmock.h>
#include <json-glib/json-glib.h>
#include <moxplat/osal.h>

#include <regex>

#include "doctor_findings.hpp"
#include "moxctl_runs.hpp"
#include "watch_stage.hpp"

namespace mox::test {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

class MoxctlResources : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(owner_.start()) << owner_.process().errors(); }

    // What a command prints; it must end with this exit code.
    std::string run(const std::vector<std::string>& words, int exit_code = 0) {
        return runs_.run(words, exit_code);
    }

    // Waits until a command prints a text.
    bool comes_to_print(const std::vector<std::string>& words, const std::string& text) {
        return eventually([&] { return run(words).find(text) != std::string::npos; });
    }

    gint32 queue_of(const std::string& name) {
        std::smatch match;
        const std::string queues = run({"queues"});
        EXPECT_TRUE(std::regex_search(queues, match, std::regex(name + " +([0-9]+)"))) << queues;
        return match.empty() ? 0 : std::stoi(match[1]);
    }

    HostOwner owner_;

private:
    MoxctlRuns runs_{owner_};
};

void hold(const HostOwner& owner, const char* name) {
    static ModulePtr module;  // to the end of its process
    module = join(owner, name);
    if (module == nullptr || lom_lock_object(lom_get_object_handle("Tank")) != MOX_OK) _exit(1);
}

TEST_F(MoxctlResources, LocksTellTheModulesThatHoldAndWait) {
    EXPECT_EQ(run({"locks"}), "No lock is held or waited for.\n");
    const Neighbour holder([this] { hold(owner_, "holder"); });
    const std::string held = run({"locks"});
    const std::string pid = std::to_string(holder.pid());
    EXPECT_THAT(held, HasSubstr("holder (process " + pid + ", thread " + pid + ")  -\n"));
    // Oven shares the lock of Tank.
    EXPECT_THAT(held, MatchesRegex("OBJECT  *LOCK  HOLDER  *WAITING\nTank [^\n]*\nOven [^\n]*\n"));

    const pid_t waiter = fork();
    if (waiter == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        hold(owner_, "waiter");
        _exit(0);
    }
    const std::string waiting = std::to_string(waiter);
    EXPECT_TRUE(
        comes_to_print({"locks"}, "waiter (process " + waiting + ", thread " + waiting + ")"));
    const std::string json = run({"locks", "--json"});
    EXPECT_THAT(json, HasSubstr("\"process\" : \"waiter\""));
    EXPECT_THAT(json, HasSubstr("\"dead\" : false"));
    kill(waiter, SIGKILL);
    waitpid(waiter, nullptr, 0);
}

TEST_F(MoxctlResources, LocksTellForWhatTheOwnerItselfWaits) {
    const Neighbour holder([this] { hold(owner_, "holder"); });
    in_module(owner_, "asker", [](MoxHostModule* module) {
        HostError error;
        EXPECT_FALSE(moxhost_refresh(module, error.out()));
        EXPECT_EQ(error.code(), MOXHOST_ERROR_TIMEOUT) << error.text();
    });
    const std::string people = run({"locks"}, 1);
    const std::string pid = std::to_string(holder.pid());
    const std::string owner = std::to_string(owner_.process().pid());
    EXPECT_THAT(people, HasSubstr("(process " + pid + ", thread " + pid + ")  moxd (process " +
                                  owner + ", thread " + owner + ")\n"));
    EXPECT_THAT(people, HasSubstr("\n?  "));
    EXPECT_THAT(run({"locks", "--json"}, 1), HasSubstr("\"object\" : null"));
}

TEST_F(MoxctlResources, LocksOfADeadHolderAreToldAsSuchUntilTheyAreTaken) {
    {
        const Neighbour holder([this] { hold(owner_, "holder"); });
        EXPECT_THAT(run({"locks"}), Not(HasSubstr("died")));
    }
    EXPECT_TRUE(comes_to_print({"locks"}, "died; the next taker gets it"));
    EXPECT_THAT(run({"locks", "--json"}), HasSubstr("\"dead\" : true"));
    in_module(owner_, "next", [](MoxHostModule*) {
        const OBJ_HANDLE tank = lom_get_object_handle("Tank");
        EXPECT_EQ(lom_lock_object(tank), MOX_OK);
        EXPECT_EQ(lom_unlock_object(tank), MOX_OK);
    });
    EXPECT_EQ(run({"locks"}), "No lock is held or waited for.\n");
}

TEST_F(MoxctlResources, QueuesThatAreNearlyFullAreMarkedAndTheirLossesCounted) {
    const Neighbour sleeper([this] {
        static ModulePtr module;
        module = join(owner_, "sleeper");
        if (module == nullptr) _exit(1);
    });
    kill(sleeper.pid(), SIGSTOP);
    const gint32 queue = queue_of("sleeper");
    in_module(owner_, "sender", [queue](MoxHostModule*) {
        const gpointer message = ipc_msg_alloc(8000);
        gint32 result = MOX_OK;
        for (int sent = 0; sent < 1000 && result == MOX_OK; ++sent) {
            result = ipc_msg_send(queue, MOX_MSG_RECV_IPMI_REQUEST, message, 8000);
        }
        ipc_msg_free(message);
        EXPECT_EQ(result, OSAL_ERR_FULL);
    });
    const std::string people = run({"queues"});
    std::smatch match;
    ASSERT_TRUE(std::regex_search(
        people, match,
        std::regex("sleeper +([0-9]+) +([0-9]+) +([0-9]+) +262144  ! ([0-9]+) % +1\n")))
        << people;
    EXPECT_GT(std::stoi(match[3]), 262144 * 8 / 10);
    EXPECT_EQ(std::stoi(match[4]), std::stoi(match[3]) * 100 / 262144);
    EXPECT_THAT(people, HasSubstr("  0 %     0\n")) << "the owner's queue is empty";
    const std::string json = run({"queues", "--json"});
    EXPECT_THAT(json, HasSubstr("\"nearly_full\" : true"));
    EXPECT_THAT(json, HasSubstr("\"lost\" : 1"));
    EXPECT_THAT(run({"modules"}),
                HasSubstr("sleeper  application  " + std::to_string(sleeper.pid())));
}

TEST_F(MoxctlResources, ModulesCountCopiesListensAndEvents) {
    const Neighbour listener([this] {
        static ModulePtr module;
        module = join(owner_, "listener", MODULE_SERVICE);
        if (module == nullptr || lom_get_object_handle("Tank") == 0 ||
            moxhost_listen(module.get(), "Sensor", "Level", nullptr) == FALSE) {
            _exit(1);
        }
        owner_.set_level(77);
        if (moxhost_refresh(module.get(), nullptr) == FALSE) _exit(1);
    });
    const std::string pid = std::to_string(listener.pid());
    EXPECT_THAT(run({"modules"}), MatchesRegex("MODULE  .*\nmoxd  .*\nlistener  service  *" + pid +
                                               "  *1  [0-9-]* [0-9:]*  *1  *1  *1  *0\n"));
}

struct UnrefNode {
    void operator()(JsonNode* node) const { json_node_unref(node); }
};

gint64 number(JsonObject* object, const char* name) {
    EXPECT_TRUE(json_object_has_member(object, name)) << name;
    return json_object_get_int_member(object, name);
}

// The sum of a member over a list; the list must fall by "bytes".
gint64 sum(JsonObject* root, const char* list, const char* name) {
    JsonArray* const items = json_object_get_array_member(root, list);
    gint64 total = 0;
    gint64 before = G_MAXINT64;
    for (guint at = 0; at < json_array_get_length(items); ++at) {
        JsonObject* const item = json_array_get_object_element(items, at);
        EXPECT_LE(number(item, "bytes"), before) << "the largest comes first";
        before = number(item, "bytes");
        total += number(item, name);
    }
    return total;
}

TEST_F(MoxctlResources, MemAddsUp) {
    const std::string text = run({"mem", "--json"});
    const std::unique_ptr<JsonNode, UnrefNode> node(json_from_string(text.c_str(), nullptr));
    ASSERT_NE(node, nullptr) << text;
    JsonObject* const root = json_node_get_object(node.get());
    const gint64 objects = number(root, "object_bytes");
    const gint64 classes = number(root, "class_bytes");
    EXPECT_GT(objects, 0);
    EXPECT_GT(classes, 0);
    EXPECT_EQ(sum(root, "objects", "bytes"), objects);
    EXPECT_EQ(sum(root, "classes", "object_bytes"), objects);
    EXPECT_EQ(sum(root, "classes", "class_bytes"), classes);
    EXPECT_EQ(sum(root, "classes", "bytes"), objects + classes);
    EXPECT_EQ(number(root, "used") + number(root, "free"), number(root, "total"));
    EXPECT_LE(number(root, "largest"), number(root, "free"));
    EXPECT_LT(objects + classes, number(root, "used"));
}

}  // namespace
}  // namespace mox::test
