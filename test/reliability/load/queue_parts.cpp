#include "queue_parts.hpp"

#include <lom.h>
#include <moxhost/operator.h>

#include <cstring>
#include <thread>

#include "../run_options.hpp"
#include "write_times.hpp"

namespace mox::test {
namespace {

struct Listening {
    ListenerPage& page;
    guint32 last = 0;
};

// Events come in the order of the writes, whatever is missing between them.
void on_message(MoxHostModule*, const MOX_MSG_S* message, gint64, gpointer data) {
    auto& listening = *static_cast<Listening*>(data);
    if (message->head.msg_type != MOX_MSG_PROPERTY_EVENT) {
        ++listening.page.notices;
        return;
    }
    guint32 value = 0;
    std::memcpy(&value, message->data + sizeof(MSG_EVENT_DATA_HEAD_S), sizeof value);
    if (value <= listening.last) listening.page.is_out_of_order = true;
    listening.last = value;
    ++listening.page.events;
}

void pause_briefly() {
    std::this_thread::sleep_for(std::chrono::milliseconds{1});
}

}  // namespace

void play_listener(const HostOwner& owner, const std::string& name, ListenerPage& page) {
    MoxHostModule* const module = join_owner(owner, name, MODULE_APP);
    Listening listening{page};
    moxhost_set_message_func(module, on_message, &listening);
    page.is_joined = true;
    while (page.step != Step::kLeave) {
        if (page.step == Step::kListen && !page.is_listening) {
            GError* error = nullptr;
            require_done(moxhost_listen(module, "Fan", "Speed", &error), error, name + " listens");
            require_done(moxhost_listen(module, "Probe", "Level", &error), error,
                         name + " listens");
            page.is_listening = true;
        }
        if (!page.is_idle) run_waiting();
        page.lost = moxhost_messages_lost(module);
        pause_briefly();
    }
    moxhost_leave(module);
}

void play_writer(const HostOwner& owner, WriterPage& page) {
    MoxHostModule* const module = join_owner(owner, "writer", MODULE_APP);
    const OBJ_HANDLE fan = lom_get_object_handle("Main");
    require(fan != 0, "the writer does not find its object");
    WriteTimes times;
    while (!page.is_over) {
        while (page.written < page.wanted) {
            const auto number = static_cast<guint32>(page.written + 1);
            GVariant* const value = g_variant_ref_sink(g_variant_new_uint32(number));
            gint32 code = 0;
            times.measure([&] {
                code = lom_set_property_value(fan, "Speed", value, PER_MODE_NOSUPPORT, FALSE);
            });
            g_variant_unref(value);
            require(code == MOX_OK, "a write gave code " + std::to_string(code));
            ++page.written;
        }
        if (page.wants_times) {
            const Times taken = times.take();
            page.median = taken.median;
            page.most = taken.most;
            page.wants_times = false;
        }
        run_waiting();
        pause_briefly();
    }
    moxhost_leave(module);
}

}  // namespace mox::test
