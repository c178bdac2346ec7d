// A round counts when every object that is always there was read and written; a read that is
// refused because a killed writer left the value half written is accepted for a second behind the
// kill, and such a round does not count.
//
// The survivors write objects that are the victims' by the library's own means: rights are granted
// by the owner with a copy, and hold for the process that asked.
#include "survivor.hpp"

#include <unistd.h>

#include <cstring>
#include <random>

#include "model.hpp"
#include "module_process.hpp"
#include "patterns.hpp"
#include "shared_page.hpp"

namespace mox::kills {
namespace {

constexpr std::uint32_t grace_ms = 1000;
// Nobody but the owner mends the half-written values of the last two.
constexpr std::array<const char*, 7> read_names = {"Short", "Text",  "Forced", "List",
                                                   "Real",  "Small", "Lone"};
constexpr std::array<const char*, 6> written_names = {"Short", "Text", "Forced",
                                                      "List",  "Real", "Number"};
constexpr int cancels_at_most = 20;
constexpr unsigned pause_us = 700;  // leaves the victims and their tracer some of the machine

enum class There { always, with_its_board };

class Survivor {
public:
    Survivor(const std::string& run_dir, int number, std::uint32_t seed)
        : state_(shared_page().survivors[number]), random_(seed) {
        name_ = "survivor" + std::to_string(number + 1);
        module_ = join_as(run_dir, name_.c_str(), MODULE_APP);
        state_.bitmap_id = moxhost_reg_info(module_)->module_id;
        moxhost_set_message_func(module_, on_message, this);
        for (const char* const property :
             {"Short", "Text", "Forced", "Small", "List", "Real", "Number", "Lone"}) {
            listen("Cell", property);
        }
        listen("Meter", "Level");
        for (const char* const property : kSavedNames) {
            listen("Store", property);
        }
    }

    void round() {
        is_whole_ = has_all_ = true;
        for (const char* const cell : kCells) {
            visit(cell, There::always);
        }
        for (const char* const cell : kBoardCells) {
            visit(cell, There::with_its_board);
        }
        read_the_rest();
        at("its messages", "taking them");
        for (int count = 0; count < 500 && g_main_context_iteration(nullptr, FALSE) != FALSE;) {
            ++count;
        }
        state_.rounds += is_whole_ ? 1 : 0;
        state_.full_rounds += is_whole_ && has_all_ ? 1 : 0;
    }

private:
    void listen(const char* class_name, const char* property) {
        CallError error;
        if (moxhost_listen(module_, class_name, property, error.out()) == FALSE) {
            throw Failed(name_ + " cannot listen to " + property + ": " + error.text());
        }
    }

    void at(const char* object, const char* doing) {
        state_.object = object;
        state_.doing = doing;
    }

    [[noreturn]] void fail(const std::string& what) {
        fail_here(name_ + ", at " + state_.object.load() + ", " + state_.doing.load() + ": " +
                  what);
    }

    // Judges the status of a call; what is not as it must be ends the process.
    void judge(gint32 status, There there) {
        if (status == MOX_OK) {
            return;
        }
        is_whole_ = is_whole_ && there == There::with_its_board;
        has_all_ = false;
        const bool is_gone = status == MOX_ERR_OBJECT_NOT_FOUND && there == There::with_its_board;
        const std::uint32_t since_kill = now_ms() - shared_page().killed_at_ms;
        if (status == MOX_ERR_INTERNAL && since_kill <= grace_ms) {
            ++state_.half_written;
        } else if (!is_gone) {
            fail("status " + std::to_string(status) + " " + mox_status_name(status) + ", " +
                 std::to_string(since_kill) + " ms after the last kill");
        }
    }

    void visit(const char* object, There there) {
        at(object, "looking it up");
        const OBJ_HANDLE handle = lom_get_object_handle(object);
        if (handle == 0) {
            judge(MOX_ERR_OBJECT_NOT_FOUND, there);
            return;
        }
        lom_set_writable(handle, OBJECT_READ_WRITE);
        for (const char* const property : read_names) {
            read(object, property, there);
        }
        read_together(object, there);
        for (const char* const property : written_names) {
            write(object, property, there);
        }
    }

    void read(const char* object, const char* property, There there) {
        at(object, property);
        std::string fault;
        judge(read_pattern(object, property, fault), there);
        if (!fault.empty()) {
            fail("the value is a mixture: " + fault);
        }
    }

    void read_together(const char* object, There there) {
        at(object, "reading several at once");
        GSList* names = nullptr;
        for (const char* const property : read_names) {
            names = g_slist_prepend(names, const_cast<char*>(property));
        }
        GSList* values = nullptr;
        judge(lom_multiget_property_value(lom_get_object_handle(object), names, &values), there);
        for (const GSList* at = values; at != nullptr; at = at->next) {
            auto* const value = static_cast<GVariant*>(at->data);
            const std::string fault =
                bytes_fault(g_variant_get_type_string(value), g_variant_get_data(value),
                            g_variant_get_size(value));
            if (!fault.empty()) {
                fail("one of the values is a mixture: " + fault);
            }
        }
        g_slist_free_full(values,
                          [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
        g_slist_free(names);
    }

    // A forced value that its victim left behind is given up.
    void write(const char* object, const char* property, There there) {
        at(object, property);
        const int number = std::uniform_int_distribution<int>(0, 25)(random_);
        gint32 status = write_value(object, property, number);
        for (int count = 0; status == MOX_ERR_OVERRIDDEN; ++count) {
            if (count == cancels_at_most) {
                is_whole_ = false;  // a living victim forces it again and again
                return;
            }
            lom_override_property_value(lom_get_object_handle(object), property, nullptr,
                                        PROPERTY_CANCEL_OVERRIDE, nullptr);
            status = write_value(object, property, number);
        }
        judge(status, there);
    }

    void read_the_rest() {
        read(kStore, "Title", There::always);
        read(kCells[0], "Twin", There::always);
        live(kSum, "Value", FALSE);
        if (++count_ % 8 == 0) {
            live(kGauge, "Level", TRUE);
            live(kStore, "Permanent", FALSE);
        }
    }

    void live(const char* object, const char* property, gboolean is_remote) {
        at(object, property);
        GVariant* value = nullptr;
        judge(lom_get_property_value(lom_get_object_handle(object), property, TRUE, &value,
                                     is_remote),
              There::always);
        if (value != nullptr) {
            g_variant_unref(value);
        }
    }

    static void on_message(MoxHostModule*, const MOX_MSG_S* message, gint64, gpointer self) {
        auto* const survivor = static_cast<Survivor*>(self);
        if (message->head.msg_type != MOX_MSG_PROPERTY_EVENT) {
            return;
        }
        MSG_EVENT_DATA_HEAD_S head;
        std::memcpy(&head, message->data, sizeof head);
        const std::string fault = bytes_fault(head.type, message->data + sizeof head, head.size);
        if (!fault.empty()) {
            survivor->fail(std::string("an event of ") + head.object_name + "." +
                           head.property_name + " carries a mixture: " + fault);
        }
        ++survivor->state_.events;
    }

    SurvivorState& state_;
    std::mt19937 random_;
    std::string name_;
    MoxHostModule* module_ = nullptr;
    bool is_whole_ = false;
    bool has_all_ = false;
    unsigned count_ = 0;
};

}  // namespace

void survive(const std::string& run_dir, int number, std::uint32_t seed) {
    Survivor survivor(run_dir, number, seed);
    for (;;) {
        survivor.round();
        usleep(pause_us);
    }
}

}  // namespace mox::kills
