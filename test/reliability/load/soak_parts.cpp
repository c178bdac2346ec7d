#include "soak_parts.hpp"

#include <lom.h>
#include <malloc.h>
#include <moxplat/osal.h>

#include <memory>
#include <random>
#include <thread>

#include "../run_options.hpp"

namespace mox::test {
namespace {

struct UnrefVariant {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, UnrefVariant>;

std::string worker_name(std::size_t number) {
    return "soak" + std::to_string(number);
}

std::string own_object(std::size_t number) {
    return "Object" + std::to_string(number);
}

std::string class_text(std::size_t number) {
    const std::string at = std::to_string(number);
    return R"({"name": "Class)" + at + R"(", "module": ")" + worker_name(number) +
           R"(", "properties": [
      {"name": "Label", "type": "s"}, {"name": "Level", "type": "u"}, {"name": "Limits", "type": "au"},
      {"name": "Kept", "type": "u"}, {"name": "Heat", "type": "i"}]},)";
}

std::string object_text(const std::string& name, std::size_t number) {
    return R"({"name": ")" + name + R"(", "class": "Class)" + std::to_string(number) +
           R"(", "properties": {"Label": "short", "Level": 1, "Limits": [1],
      "Kept": {"value": 0, "persist": "reset"}, "Heat": {"accessor": "level"}}})";
}

std::string board_text(std::size_t number) {
    const std::string at = std::to_string(number);
    return R"({"name": "board)" + at + R"(", "position": 1)" + at +
           R"(, "plugged": false, "objects": [)" + object_text("Part" + at + "a", number) + "," +
           object_text("Part" + at + "b", number) + "]}";
}

// One module at its work.
class Worker {
public:
    Worker(const HostOwner& owner, std::size_t number, WorkerPage& page)
        : number_(number),
          page_(page),
          module_(join_owner(owner, worker_name(number), MODULE_APP)),
          random_(seed_of_run() + static_cast<std::uint32_t>(number)) {
        moxhost_set_message_func(
            module_,
            [](MoxHostModule*, const MOX_MSG_S*, gint64, gpointer page_of_worker) {
                ++static_cast<WorkerPage*>(page_of_worker)->events;
            },
            &page_);
        const std::string heard = "Class" + std::to_string((number + 1) % kWorkers);
        for (const char* const property : {"Label", "Level", "Heat"}) {
            done(moxhost_listen(module_, heard.c_str(), property, &error_), "listening");
        }
        // Everything once, and the longest values: what grows by the first use has grown then.
        write_text(own_object(number), std::string(kLongestText, 'x'), MOX_OK);
        write_limits(kLongestText / 4);
        override_level();
        save();
        if (has_board()) cycle_board();
    }
    ~Worker() { moxhost_leave(module_); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void work_once() {
        const std::uint64_t turn = page_.written;
        write();
        read();
        read();
        if (turn % kWritesAMultiRead == 0) read_several();
        if (turn % kWritesARefresh == 0) refresh();
        if (turn % kWritesAnOverride == 0) override_level();
        if (turn % kWritesASave == 0) save();
        if (turn % kWritesAPlug == 0 && has_board()) cycle_board();
        if (turn % 8 == 0) run_waiting();
        ++page_.written;
    }

private:
    bool has_board() const { return number_ < 2; }
    std::size_t below(std::size_t limit) { return random_() % limit; }

    void done(gboolean is_done, const std::string& what) {
        require_done(is_done, error_, worker_name(number_) + ": " + what);
    }

    void code(gint32 got, gint32 allowed, const std::string& what) {
        require(got == MOX_OK || got == allowed,
                worker_name(number_) + ": " + what + " gave code " + std::to_string(got));
    }

    void write_text(const std::string& object, const std::string& text, gint32 allowed) {
        const VariantPtr value{g_variant_ref_sink(g_variant_new_string(text.c_str()))};
        code(lom_set_property_value(lom_get_object_handle(object.c_str()), "Label", value.get(),
                                    PER_MODE_NOSUPPORT, FALSE),
             allowed, "a write to " + object);
    }

    void write_limits(std::size_t count) {
        const std::vector<guint32> numbers(count, static_cast<guint32>(count));
        const VariantPtr value{g_variant_ref_sink(g_variant_new_fixed_array(
            G_VARIANT_TYPE_UINT32, numbers.data(), numbers.size(), sizeof(guint32)))};
        code(lom_set_property_value(lom_get_object_handle(own_object(number_).c_str()), "Limits",
                                    value.get(), PER_MODE_NOSUPPORT, FALSE),
             MOX_OK, "a write of an array");
    }

    // Texts and arrays that grow and shrink, and numbers.
    void write() {
        switch (below(4)) {
            case 0:
                write_text(own_object(number_),
                           std::string(1 + below(kLongestText), static_cast<char>('a' + below(26))),
                           MOX_OK);
                break;
            case 1:
                write_limits(1 + below(kLongestText / 4));
                break;
            default: {
                const VariantPtr value{
                    g_variant_ref_sink(g_variant_new_uint32(static_cast<guint32>(below(1000))))};
                code(lom_set_property_value(lom_get_object_handle(own_object(number_).c_str()),
                                            "Level", value.get(), PER_MODE_NOSUPPORT, FALSE),
                     MOX_OK, "a write of a number");
            }
        }
    }

    // A part is fetched anew when it is not known; unplugged, it has a handle and no object.
    static OBJ_HANDLE handle_of(const std::string& object) {
        const OBJ_HANDLE found = lom_get_object_handle(object.c_str());
        return found != 0 ? found : lom_name_to_handle(object.c_str());
    }

    // A stored or live value of any worker's object, or of one that may be unplugged.
    void read() {
        const std::string object =
            below(8) == 0 ? "Part" + std::to_string(below(2)) + "a" : own_object(below(kWorkers));
        GVariant* value = nullptr;
        const char* const property = below(2) == 0 ? "Label" : below(2) == 0 ? "Heat" : "Level";
        const gint32 got = lom_get_property_value(handle_of(object), property,
                                                  below(8) == 0 ? TRUE : FALSE, &value, FALSE);
        const bool is_part = object[0] == 'P';
        code(got, is_part ? MOX_ERR_OBJECT_NOT_FOUND : MOX_OK, "a read of " + object);
        const VariantPtr owned{value};
        if (got == MOX_OK && g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
            const std::string text = g_variant_get_string(value, nullptr);
            require(text == "short" || text == std::string(text.size(), text[0]),
                    "a torn value of " + object + ": " + text);
        }
        ++page_.reads;
    }

    void read_several() {
        gchar label[] = "Label";
        gchar limits[] = "Limits";
        GSList tail = {limits, nullptr};
        GSList names = {label, &tail};
        GSList* values = nullptr;
        const std::string object = own_object(below(kWorkers));
        code(lom_multiget_property_value(lom_get_object_handle(object.c_str()), &names, &values),
             MOX_OK, "a read of several of " + object);
        g_slist_free_full(values,
                          [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
        ++page_.reads;
    }

    void refresh() {
        done(moxhost_refresh(module_, &error_), "a refresh");
        ++page_.refreshes;
    }

    void override_level() {
        const OBJ_HANDLE object = lom_get_object_handle(own_object(number_).c_str());
        const VariantPtr value{g_variant_ref_sink(g_variant_new_uint32(4242))};
        // A listener's full queue is a lost message.
        code(lom_override_property_value(object, "Level", value.get(), PROPERTY_OVERRIDE, nullptr),
             OSAL_ERR_FULL, "an override");
        code(lom_override_property_value(object, "Level", nullptr, PROPERTY_CANCEL_OVERRIDE,
                                         nullptr),
             MOX_OK, "the end of an override");
        ++page_.overrides;
    }

    void save() {
        done(moxhost_set_property(module_, own_object(number_).c_str(), "Kept",
                                  g_variant_new_uint32(static_cast<guint32>(below(1000))), &error_),
             "a save");
        ++page_.saves;
    }

    // The board's objects begin small each time and outgrow their room.
    void cycle_board() {
        const std::string board = "board" + std::to_string(number_);
        done(moxhost_plug_board(module_, board.c_str(), &error_), "a plug");
        for (const char* const object : {"a", "b"}) {
            const std::string name = "Part" + std::to_string(number_) + object;
            for (const std::size_t length : {std::size_t{40}, std::size_t{200}, kLongestText}) {
                write_text(name, std::string(length, 'p'), MOX_OK);
            }
        }
        done(moxhost_unplug_board(module_, board.c_str(), nullptr, &error_), "an unplug");
        ++page_.plugs;
    }

    std::size_t number_;
    WorkerPage& page_;
    MoxHostModule* module_;
    std::mt19937 random_;
    GError* error_ = nullptr;
};

std::uint64_t heap_in_use() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// A short life: join, look, listen, and leave, or die without a word.
void join_for_a_moment(const HostOwner& owner, std::uint64_t number, bool is_listening) {
    MoxHostModule* const module = join_owner(owner, "guest" + std::to_string(number), MODULE_APP);
    for (std::size_t worker = 0; worker < kWorkers; ++worker) {
        const OBJ_HANDLE object = lom_get_object_handle(own_object(worker).c_str());
        GVariant* value = nullptr;
        require(lom_get_property_value(object, "Level", FALSE, &value, FALSE) == MOX_OK,
                "a guest cannot read");
        g_variant_unref(value);
    }
    GError* error = nullptr;
    if (is_listening) {
        require_done(moxhost_listen(module, "Class1", "Level", &error), error, "a guest listens");
    }
    if (number % 3 == 2) _exit(0);
    moxhost_leave(module);
    _exit(0);
}

}  // namespace

std::string soak_profile(const HostOwner& owner) {
    std::string text = R"({
  "refresh_ms": 3600000,
  "classes": [
    {"name": "Chip", "properties": [{"name": "Path", "type": "s"}]},
    {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Kind", "type": "s"},
                                        {"name": "Type", "type": "s"}]},)";
    for (std::size_t number = 0; number < kWorkers; ++number) text += class_text(number);
    text += R"({"name": "Expression",
     "properties": [{"name": "X", "type": "sp"}, {"name": "Y", "type": "d"}, {"name": "Z", "type": "i"},
                    {"name": "Xcache", "type": "d"}, {"name": "Ycache", "type": "d"},
                    {"name": "Zcache", "type": "d"}, {"name": "Formula", "type": "s"},
                    {"name": "Value", "type": "i"}]}],
  "objects": [
    {"name": "chip", "class": "Chip", "type": "Physical", "properties": {"Path": ")" +
            owner.dir().path("chip").string() + R"("}},
    {"name": "level", "class": "Accessor", "type": "Physical",
     "properties": {"Chip": "chip", "Kind": "attribute", "Type": "i"}},
    {"name": "Sum", "class": "Expression",
     "properties": {"X": "Object0.Level", "Y": 1000, "Formula": "X + Y"}})";
    for (std::size_t number = 0; number < kWorkers; ++number) {
        text += "," + object_text(own_object(number), number);
    }
    return text + R"(],
  "boards": [)" +
           board_text(0) + "," + board_text(1) + "]}";
}

void play_worker(const HostOwner& owner, std::size_t number, SoakPages& pages) {
    WorkerPage& page = pages.workers[number];
    Worker worker(owner, number, page);
    while (!pages.is_over) {
        while (page.written < page.wanted) worker.work_once();
        run_waiting();
        if (page.samples != page.samples_wanted) {
            page.heap_bytes = heap_in_use();
            page.samples = page.samples_wanted.load();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
}

void play_joiners(const HostOwner& owner, SoakPages& pages) {
    JoinerPage& page = pages.joiners;
    while (!pages.is_over) {
        while (page.joined < page.wanted) {
            const pid_t guest = fork();
            if (guest == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                join_for_a_moment(owner, page.joined, page.are_listening);
            }
            int status = -1;
            waitpid(guest, &status, 0);
            require(WIFEXITED(status) && WEXITSTATUS(status) == 0,
                    "a guest ended with status " + std::to_string(status));
            ++page.joined;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
}

}  // namespace mox::test
