// The notices are compared as texts: "+7 | Port port1 port2" for new objects at position 7, "-7"
// for their removal.
#include "board_listener.hpp"

#include <cstdio>
#include <cstring>
#include <vector>

#include "demo_objects.hpp"
#include "step_module.hpp"

namespace mox::examples {
namespace {

constexpr guint notice_limit_ms = 25000;
constexpr guint silence_ms = 300;  // nothing more may come so long behind the last one

struct Notices {
    LoopPtr loop{g_main_loop_new(nullptr, FALSE)};
    std::vector<std::string> texts;
    std::size_t wanted = 0;
    bool is_owner_gone = false;
};

std::string text_of_new_objects(const MOX_MSG_S& message) {
    MSG_NEW_OBJ_EVENT_S head;
    if (message.head.length < sizeof head) return "a new-object notice that is too short";
    std::memcpy(&head, message.data, sizeof head);
    if (head.size > message.head.length - sizeof head) return "a new-object notice that is damaged";
    const BytesPtr bytes{g_bytes_new(message.data + sizeof head, head.size)};
    const VariantPtr names{g_variant_ref_sink(
        g_variant_new_from_bytes(G_VARIANT_TYPE_STRING_ARRAY, bytes.get(), FALSE))};
    std::string text = "+" + std::to_string(head.position);
    const StringsPtr strings{g_variant_dup_strv(names.get(), nullptr)};
    for (gchar** name = strings.get(); *name != nullptr; ++name) text += std::string{" "} + *name;
    return text;
}

std::string text_of_removal(const MOX_MSG_S& message) {
    MSG_DEL_RU_EVENT_S removal;
    if (message.head.length < sizeof removal) return "a deletion notice that is too short";
    std::memcpy(&removal, message.data, sizeof removal);
    return "-" + std::to_string(removal.position);
}

std::string text_of(const MOX_MSG_S& message) {
    if (message.head.msg_type == MOX_MSG_ADD_OBJECT) return text_of_new_objects(message);
    if (message.head.msg_type == MOX_MSG_DEL_OBJECT) return text_of_removal(message);
    return "a message of type " + std::to_string(message.head.msg_type);
}

void on_message(MoxHostModule*, const MOX_MSG_S* message, gint64, gpointer user_data) {
    auto* notices = static_cast<Notices*>(user_data);
    notices->texts.push_back(text_of(*message));
    if (notices->texts.size() == notices->wanted) g_main_loop_quit(notices->loop.get());
}

void on_lost(MoxHostModule*, gpointer user_data) {
    auto* notices = static_cast<Notices*>(user_data);
    notices->is_owner_gone = true;
    g_main_loop_quit(notices->loop.get());
}

void run_for(const Notices& notices, guint milliseconds) {
    bool is_over = false;
    struct Alarm {
        GMainLoop* loop;
        bool* is_over;
    } alarm{notices.loop.get(), &is_over};
    const guint timer = g_timeout_add(
        milliseconds,
        [](gpointer user_data) -> gboolean {
            const auto* over = static_cast<const Alarm*>(user_data);
            *over->is_over = true;
            g_main_loop_quit(over->loop);
            return G_SOURCE_REMOVE;
        },
        &alarm);
    g_main_loop_run(notices.loop.get());
    if (!is_over) g_source_remove(timer);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "\"" : ", \"") + text + "\"";
    return all.empty() ? "nothing" : all;
}

std::vector<std::string> wanted_notices(unsigned rounds) {
    const std::string position = std::to_string(board_position);
    std::string new_objects = "+" + position + " | " + port_class;
    for (const char* port : board_ports) new_objects += std::string{" "} + port;
    std::vector<std::string> wanted;
    for (unsigned round = 0; round < rounds; ++round) {
        wanted.push_back(new_objects);
        wanted.push_back("-" + position);
    }
    return wanted;
}

}  // namespace

void listen_to_board(const std::string& run_dir, unsigned rounds) {
    const std::vector<std::string> wanted = wanted_notices(rounds);
    Notices notices;
    notices.wanted = wanted.size();
    StepModule module{run_dir, board_listener_module};
    moxhost_set_message_func(module.handle(), on_message, &notices);
    moxhost_set_lost_func(module.handle(), on_lost, &notices);
    Failure failure;
    expect(moxhost_listen(module.handle(), port_class, number_property, failure.out()) != FALSE,
           "cannot listen: " + failure.text());
    std::printf("  listener      a process of its own, listens to objects of class %s\n",
                port_class);
    run_for(notices, notice_limit_ms);
    if (notices.texts.size() == notices.wanted) run_for(notices, silence_ms);
    moxhost_set_message_func(module.handle(), nullptr, nullptr);
    moxhost_set_lost_func(module.handle(), nullptr, nullptr);
    expect(!notices.is_owner_gone, "the owner is gone");
    expect(notices.texts == wanted,
           "the notices are " + joined(notices.texts) + ", not " + joined(wanted));
    for (unsigned round = 0; round < rounds; ++round) {
        std::printf(
            "  listener      was told \"%s\", new objects at the position, then \"%s\", gone\n",
            notices.texts[2 * round].c_str(), notices.texts[2 * round + 1].c_str());
    }
}

}  // namespace mox::examples
