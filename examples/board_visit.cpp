#include "board_visit.hpp"

#include <lom.h>

#include "demo_objects.hpp"

namespace mox::examples {
namespace {

guint32 used_bytes(StepModule& module) {
    guint32 used = 0;
    Failure failure;
    expect(moxhost_pool_usage(module.handle(), nullptr, &used, failure.out()) != FALSE,
           failure.text());
    return used;
}

void expect_state(StepModule& module, bool is_plugged) {
    gboolean state = FALSE;
    guint32 position = 0;
    Failure failure;
    expect(
        moxhost_board_state(module.handle(), board_name, &state, &position, failure.out()) != FALSE,
        failure.text());
    expect_value("the board's position", position, board_position);
    expect((state != FALSE) == is_plugged,
           std::string{"the board is "} + (is_plugged ? "not plugged" : "plugged still"));
    for (const char* port : board_ports) {
        expect((lom_get_object_handle(port) != 0) == is_plugged,
               std::string{port} + (is_plugged ? " is not there" : " is there without its board"));
    }
}

}  // namespace

void wait_for_quiet_pool(StepModule& module) {
    constexpr gint64 quiet_us = 6500 * G_TIME_SPAN_MILLISECOND;
    constexpr gint64 limit_us = 15 * G_USEC_PER_SEC;
    constexpr gulong pause_us = 100 * G_TIME_SPAN_MILLISECOND;
    const gint64 start = g_get_monotonic_time();
    gint64 since = start;
    guint32 used = used_bytes(module);
    for (gint64 now = start; now - since < quiet_us; now = g_get_monotonic_time()) {
        expect(now - start < limit_us, "the pool's use does not stand still");
        g_usleep(pause_us);
        const guint32 now_used = used_bytes(module);
        if (now_used != used) since = g_get_monotonic_time();
        used = now_used;
    }
}

BoardVisit visit_board(StepModule& module, const std::function<void()>& while_plugged) {
    BoardVisit visit;
    Failure failure;
    expect_state(module, false);
    visit.pool.before = used_bytes(module);
    expect(moxhost_plug_board(module.handle(), board_name, failure.out()) != FALSE, failure.text());
    visit.pool.plugged = used_bytes(module);
    expect_state(module, true);
    while_plugged();
    gchar** unsaved = nullptr;
    expect(moxhost_unplug_board(module.handle(), board_name, &unsaved, failure.out()) != FALSE,
           failure.text());
    const StringsPtr own{unsaved};
    for (gchar** name = unsaved; *name != nullptr; ++name) visit.unsaved.emplace_back(*name);
    visit.pool.after = used_bytes(module);
    expect_state(module, false);
    return visit;
}

}  // namespace mox::examples
