#include "reader_process.hpp"

#include <moxplat/osal.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "cores.hpp"
#include "model.hpp"

namespace mox::bench {
namespace {

constexpr gint32 kReaderId = 3;
constexpr time_t kLongestWaitSeconds = 10;

enum class Task { kAttach, kRead, kTake };

// Shared by both processes; whose turn it is, the semaphores say.
struct Desk {
    sem_t has_task;
    sem_t has_result;
    Task task;
    SharedWindow window;
    OBJECT_HEAD_S record;
    gint32 semid;
    gint32 member;
    double result;  // 1 for an attachment that worked
};

Desk* g_desk = nullptr;
pid_t g_process = -1;

OBJ_HANDLE attach(const OBJECT_HEAD_S& record) {
    attach_model();
    return lom_create_object(sizeof(record), &record);
}

[[noreturn]] void work_for_ever() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    pin(0, 1);
    OBJ_HANDLE object = 0;
    for (;;) {
        while (sem_wait(&g_desk->has_task) != 0) {
        }
        switch (g_desk->task) {
            case Task::kAttach:
                object = attach(g_desk->record);
                g_desk->result = object == 0 ? 0 : 1;
                break;
            case Task::kRead:
                g_desk->result = g_desk->window.time_per_call([&] { return read_number(object); });
                break;
            case Task::kTake:
                g_desk->result = g_desk->window.time_per_call([] {
                    return osal_process_sem_p(g_desk->semid, g_desk->member) == OSAL_OK &&
                           osal_process_sem_v(g_desk->semid, g_desk->member) == OSAL_OK;
                });
                break;
        }
        sem_post(&g_desk->has_result);
    }
}

SharedWindow& start_task(Task task) {
    g_desk->task = task;
    SharedWindow* window = new (&g_desk->window) SharedWindow(2);
    sem_post(&g_desk->has_task);
    return *window;
}

}  // namespace

void start_reader_process() {
    void* shared =
        mmap(nullptr, sizeof(Desk), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::perror("moxbench: no memory to share with the reader");
        std::exit(1);
    }
    g_desk = new (shared) Desk{};
    sem_init(&g_desk->has_task, 1, 0);
    sem_init(&g_desk->has_result, 1, 0);
    g_process = fork();
    if (g_process == 0) {
        work_for_ever();
    }
    if (g_process < 0) {
        std::perror("moxbench: no process for the reader");
        std::exit(1);
    }
}

void stop_reader_process() {
    kill(g_process, SIGKILL);
    waitpid(g_process, nullptr, 0);
}

bool give_object(OBJ_HANDLE object) {
    guint32 size = 0;
    gpointer copy = nullptr;
    if (lom_copy_object(lom_handle_to_name(object), &size, &copy, kReaderId, FALSE) != MOX_OK) {
        return false;
    }
    std::memcpy(&g_desk->record, copy, sizeof(g_desk->record));
    g_free(copy);
    start_task(Task::kAttach);
    return join_reader() > 0;
}

SharedWindow& start_reading() {
    return start_task(Task::kRead);
}

SharedWindow& start_taking(gint32 semid, gint32 member) {
    g_desk->semid = semid;
    g_desk->member = member;
    return start_task(Task::kTake);
}

double join_reader() {
    timespec until{};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += kLongestWaitSeconds;
    int result = 0;
    do {
        result = sem_clockwait(&g_desk->has_result, CLOCK_MONOTONIC, &until);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? g_desk->result : 0;
}

bool read_number(OBJ_HANDLE object) {
    GVariant* value = nullptr;
    if (lom_get_property_value(object, kProperty, FALSE, &value, FALSE) != MOX_OK) {
        return false;
    }
    g_variant_unref(value);
    return true;
}

}  // namespace mox::bench
