// The fake persistence library. What holds: one mutex guards all of its state, and no call of
// another layer is made with the mutex held.
#include <moxfake/osal.h>
#include <moxfake/persist.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <tuple>
#include <utility>

namespace mox::fake {
namespace {

using ItemKey = std::tuple<std::string, std::string, bool, gint32>;

struct Item {
    std::string type;
    std::vector<guint8> bytes;
};

struct PersistState {
    std::map<ItemKey, Item> items;
    std::map<std::pair<std::string, std::string>, guint32> states;
    std::map<PersistAction, gint32> answers;
    guint calls_until_failure = 0;  // 0: no failure is planned
    bool fails_from_then_on = false;
    gint32 planned_code = PER_OK;
    std::vector<PersistCall> calls;
};

std::mutex mutex;
PersistState state;
gint64 live_reads = 0;

const char* text_of(const gchar* text) {
    return text == nullptr ? "(null)" : text;
}

// A call with what all calls have; takes no mutex.
PersistCall call_of(PersistAction action, const gchar* object, const gchar* name) {
    PersistCall call;
    call.action = action;
    call.object = text_of(object);
    call.name = text_of(name);
    call.semaphores_held = osal::held_by_this_thread();
    call.sends_before = osal::send_calls();
    return call;
}

// The code that the next call of this kind shall return; the caller holds the mutex.
gint32 next_code(PersistAction action) {
    if (state.calls_until_failure == 1) {
        if (!state.fails_from_then_on) state.calls_until_failure = 0;
        return state.planned_code;
    }
    if (state.calls_until_failure > 1) --state.calls_until_failure;
    const auto answer = state.answers.find(action);
    return answer == state.answers.end() ? PER_OK : answer->second;
}

// What a recorded call returns; the caller holds the mutex.
gint32 returns(gint32 code) {
    return state.calls.back().code = code;
}

// Records a call and gives the code that it shall return; the caller holds the mutex.
gint32 record(PersistCall call) {
    const gint32 code = next_code(call.action);
    state.calls.push_back(std::move(call));
    return returns(code);
}

ItemKey key_of(const PersistCall& call) {
    return {call.object, call.name, call.has_prefix != FALSE, call.mode};
}

std::string hex_of(const std::vector<guint8>& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const guint8 byte : bytes) {
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

std::string short_text(const PersistCall& call) {
    const std::string subject = call.object + "." + call.name;
    // A flag that is neither TRUE nor FALSE shows as what it is.
    const std::string prefix = call.has_prefix == FALSE  ? ""
                               : call.has_prefix == TRUE ? " prefix"
                                                         : " prefix?";
    const std::string mode = " mode " + std::to_string(call.mode);
    switch (call.action) {
        case PersistAction::save:
            return "save " + subject + prefix + " " + call.type + ":" + hex_of(call.bytes) + mode;
        case PersistAction::read:
            return "read " + subject + prefix + mode;
        case PersistAction::ask:
            return "ask " + subject + prefix + mode;
        case PersistAction::save_status:
            return "status " + subject + " = " + std::to_string(call.state);
        case PersistAction::remove_status:
            break;
    }
    return "unstatus " + subject;
}

// The caller holds the mutex.
void hand_out(CFG_READ_S* read, const std::string& type, const std::vector<guint8>& bytes) {
    read->type = g_strdup(type.c_str());
    read->size = static_cast<guint32>(bytes.size());
    read->data_out = nullptr;
    if (!bytes.empty()) {
        auto* const copy = static_cast<guint8*>(g_malloc(bytes.size()));
        std::copy(bytes.begin(), bytes.end(), copy);
        read->data_out = copy;
    }
    ++live_reads;
}

}  // namespace

void persist_reset() {
    const std::scoped_lock lock{mutex};
    state = {};
}

void persist_answer(PersistAction action, gint32 code) {
    const std::scoped_lock lock{mutex};
    state.answers[action] = code;
}

void persist_fail_call(guint n, gint32 code, bool from_then_on) {
    const std::scoped_lock lock{mutex};
    state.calls_until_failure = n;
    state.planned_code = code;
    state.fails_from_then_on = from_then_on;
}

std::vector<PersistCall> persist_calls() {
    const std::scoped_lock lock{mutex};
    return state.calls;
}

std::vector<std::string> persist_texts() {
    std::vector<std::string> texts;
    for (const PersistCall& call : persist_calls()) texts.push_back(short_text(call));
    return texts;
}

void persist_put(const std::string& object, const std::string& name, gboolean has_prefix,
                 PER_MODE_E mode, const std::string& type, const std::vector<guint8>& bytes) {
    const std::scoped_lock lock{mutex};
    state.items[{object, name, has_prefix != FALSE, mode}] = {type, bytes};
}

void persist_fill(CFG_READ_S* read, const std::string& type, const std::vector<guint8>& bytes) {
    const std::scoped_lock lock{mutex};
    hand_out(read, type, bytes);
}

gint64 persist_live_reads() {
    const std::scoped_lock lock{mutex};
    return live_reads;
}

}  // namespace mox::fake

gint32 cfg_save_v2(const gchar* object_name, const gchar* name, const gchar* type, guint32 size,
                   gconstpointer data, gboolean has_prefix, PER_MODE_E per_mode) {
    using namespace mox::fake;
    PersistCall call = call_of(PersistAction::save, object_name, name);
    const auto* const bytes = static_cast<const guint8*>(data);
    call.type = text_of(type);
    if (bytes != nullptr) call.bytes.assign(bytes, bytes + size);
    call.has_prefix = has_prefix;
    call.mode = per_mode;
    const ItemKey key = key_of(call);
    const Item item{call.type, call.bytes};
    const std::scoped_lock lock{mutex};
    const gint32 code = record(std::move(call));
    if (code >= PER_OK) state.items[key] = item;
    return code;
}

gint32 cfg_read_v2(const gchar* object_name, const gchar* name, CFG_READ_S* read,
                   gboolean has_prefix, PER_MODE_E save_opt) {
    using namespace mox::fake;
    PersistCall call = call_of(PersistAction::read, object_name, name);
    call.has_prefix = has_prefix;
    call.mode = save_opt;
    const ItemKey key = key_of(call);
    const std::scoped_lock lock{mutex};
    const gint32 code = record(std::move(call));
    if (read == nullptr || read->type != nullptr || read->size != 0 || read->data_out != nullptr) {
        return returns(PER_ERROR_PARA_2_INVALID);
    }
    const auto found = state.items.find(key);
    if (code < PER_OK || found == state.items.end()) {
        return returns(code < PER_OK ? code : gint32{PER_ERROR_CFG_ITEM_NOT_INITED});
    }
    hand_out(read, found->second.type, found->second.bytes);
    return code;
}

void cfg_read_free(CFG_READ_S* read) {
    using namespace mox::fake;
    if (read == nullptr || (read->type == nullptr && read->data_out == nullptr)) {
        return;
    }
    g_free(read->type);
    g_free(read->data_out);
    *read = {};
    const std::scoped_lock lock{mutex};
    --live_reads;
}

gint32 cfg_is_saved(const gchar* object_name, const gchar* name, gboolean has_prefix,
                    PER_MODE_E save_opt, gboolean* saved) {
    using namespace mox::fake;
    PersistCall call = call_of(PersistAction::ask, object_name, name);
    call.has_prefix = has_prefix;
    call.mode = save_opt;
    const ItemKey key = key_of(call);
    const std::scoped_lock lock{mutex};
    const gint32 code = record(std::move(call));
    if (saved == nullptr) {
        return returns(PER_ERROR_PARA_4_INVALID);
    }
    if (code >= PER_OK) *saved = state.items.contains(key) ? TRUE : FALSE;
    return code;
}

gint32 cfg_status_save(const gchar* object_name, const gchar* property_name, guint32 word) {
    using namespace mox::fake;
    PersistCall call = call_of(PersistAction::save_status, object_name, property_name);
    call.state = word;
    const std::pair key{call.object, call.name};
    const std::scoped_lock lock{mutex};
    const gint32 code = record(std::move(call));
    if (code >= PER_OK) state.states[key] = word;
    return code;
}

gint32 cfg_status_remove(const gchar* object_name, const gchar* property_name) {
    using namespace mox::fake;
    PersistCall call = call_of(PersistAction::remove_status, object_name, property_name);
    const std::pair key{call.object, call.name};
    const std::scoped_lock lock{mutex};
    const gint32 code = record(std::move(call));
    if (code >= PER_OK) state.states.erase(key);
    return code;
}
