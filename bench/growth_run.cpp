#include "growth_run.hpp"

#include <lom.h>
#include <moxplat/osal.h>
#include <pub.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "clock.hpp"
#include "ipc_namespace.hpp"
#include "model.hpp"

namespace mox::bench {
namespace {

constexpr gint32 kMemberId = 3;
constexpr unsigned kLongestRunSeconds = 60;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "moxbench_growth: %s\n", what);
    _exit(1);
}

void send_all(int socket, const void* bytes, gsize size) {
    const auto* from = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t sent = send(socket, from, size, MSG_NOSIGNAL);
        if (sent <= 0) {
            fail("the other process is gone");
        }
        from += sent;
        size -= static_cast<gsize>(sent);
    }
}

void receive_all(int socket, void* bytes, gsize size) {
    if (recv(socket, bytes, size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
        fail("the other process is gone");
    }
}

// What build_objects needs, made ahead: the time is the library's.
struct Plan {
    explicit Plan(int objects) {
        for (int number = 0; number < objects; ++number) {
            names.push_back(object_name("growth", number));
        }
        for (guint32 index = 0; index < kGrowthProperties; ++index) {
            properties.push_back("Value" + std::to_string(index));
        }
    }
    std::vector<std::string> names;
    std::vector<std::string> properties;
};

void build_objects(const Plan& plan) {
    guint32 number = 0;
    for (const std::string& name : plan.names) {
        OBJECT_PTR object =
            lom_create_object_embryo(kGrowthProperties, name.c_str(), kClassName, "", "Logical", 1);
        if (object == nullptr) {
            fail("the pool has no room for the objects");
        }
        CONST_TLV_S value = {{'u'}, sizeof(number), &number};
        for (guint32 index = 0; index < kGrowthProperties; ++index) {
            lom_init_property(object, index, plan.properties[index].c_str(), &value, "r-");
        }
        lom_add_object(object);
        lom_ready_object(object);
        ++number;
    }
}

// Answers the member's question with every record.
void send_objects(int socket, const Plan& plan) {
    GSList* handles = nullptr;
    for (auto name = plan.names.rbegin(); name != plan.names.rend(); ++name) {
        handles = g_slist_prepend(handles, GINT_TO_POINTER(lom_name_to_handle(name->c_str())));
    }
    char question = 0;
    receive_all(socket, &question, sizeof(question));
    GSList* records = nullptr;
    if (lom_list_to_rpc(handles, kMemberId, &records) != MOX_OK) {
        fail("the objects cannot be copied");
    }
    std::vector<OBJECT_HEAD_S> answer(plan.names.size());
    auto place = answer.begin();
    for (const GSList* item = records; item != nullptr; item = item->next) {
        const auto* record = static_cast<const RPC_DATA_S*>(item->data);
        std::memcpy(&*place++, record->data, sizeof(OBJECT_HEAD_S));
    }
    send_all(socket, answer.data(), answer.size() * sizeof(OBJECT_HEAD_S));
    g_slist_free_full(records, g_free);
    g_slist_free(handles);
}

void check_object(const std::string& name, guint32 expected) {
    GVariant* value = nullptr;
    if (lom_get_property_value(lom_name_to_handle(name.c_str()), "Value9", FALSE, &value, FALSE) !=
            MOX_OK ||
        g_variant_get_uint32(value) != expected) {
        fail("a copied object has another value");
    }
    g_variant_unref(value);
}

[[noreturn]] void be_member(int socket, int objects, GrowthTimes* times) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(kLongestRunSeconds);
    char go = 0;
    receive_all(socket, &go, sizeof(go));
    const gint64 start = now_ns();
    attach_model();
    send_all(socket, &go, sizeof(go));
    std::vector<OBJECT_HEAD_S> records(static_cast<gsize>(objects));
    receive_all(socket, records.data(), records.size() * sizeof(OBJECT_HEAD_S));
    for (const OBJECT_HEAD_S& record : records) {
        if (lom_create_object(sizeof(record), &record) == 0) {
            fail("a copy cannot be published");
        }
    }
    times->attach_ns = now_ns() - start;
    check_object(object_name("growth", 0), 0);
    check_object(object_name("growth", objects - 1), static_cast<guint32>(objects) - 1);
    _exit(0);
}

[[noreturn]] void be_owner(int objects, GrowthTimes* times) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(kLongestRunSeconds);
    const std::string failure = mox::test::enter_ipc_namespace();
    if (!failure.empty()) {
        fail(("no System V namespace: " + failure).c_str());
    }
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
        fail("no socket");
    }
    const pid_t member = fork();
    if (member == 0) {
        close(sockets[0]);
        be_member(sockets[1], objects, times);
    }
    close(sockets[1]);
    make_model();
    const Plan plan(objects);
    const gint64 start = now_ns();
    build_objects(plan);
    times->build_ns = now_ns() - start;
    const char go = 'g';
    send_all(sockets[0], &go, sizeof(go));
    send_objects(sockets[0], plan);
    int status = 0;
    const bool is_whole = waitpid(member, &status, 0) == member && status == 0;
    osal_process_release_all();
    _exit(is_whole ? 0 : 1);
}

}  // namespace

bool run_growth(int objects, GrowthTimes* times) {
    void* shared = mmap(nullptr, sizeof(GrowthTimes), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::perror("moxbench_growth: no memory to share");
        return false;
    }
    auto* measured = new (shared) GrowthTimes{};
    std::fflush(nullptr);
    const pid_t owner = fork();
    if (owner == 0) {
        be_owner(objects, measured);
    }
    int status = 0;
    const bool is_whole = owner > 0 && waitpid(owner, &status, 0) == owner && status == 0;
    *times = *measured;
    munmap(shared, sizeof(GrowthTimes));
    return is_whole;
}

}  // namespace mox::bench
