// Bits are looked at in the pool itself, by way of this process's own copies of the objects.
#include "leftovers.hpp"

#include <lom.h>

#include <array>
#include <cstring>

#include "model.hpp"
#include "module_process.hpp"
#include "patterns.hpp"
#include "shared_page.hpp"
#include "stage.hpp"

namespace mox::kills {
namespace {

constexpr int members = 2 + kSurvivors;  // with the owner and this module

std::string member_left(MoxHostModule* module) {
    CallError error;
    gsize count = 0;
    MoxHostModuleInfo* const infos = moxhost_module_infos(module, &count, error.out());
    if (infos == nullptr) {
        return "the member list: " + error.text();
    }
    std::string left;
    for (gsize at = 0; at < count; ++at) {
        if (std::strcmp(infos[at].name, kVictimName) == 0) {
            left = "the victim is a member, id " + std::to_string(infos[at].id);
        }
    }
    g_free(infos);
    return left.empty() && count != members ? std::to_string(count) + " members" : left;
}

// The bits of those that live on.
std::array<guint32, LOM_REF_BITMAP_WORDS> known_bits() {
    std::array<guint32, LOM_REF_BITMAP_WORDS> bits = {};
    const SharedPage& page = shared_page();
    for (const std::int32_t id : {page.inspector_id.load(), page.survivors[0].bitmap_id.load(),
                                  page.survivors[1].bitmap_id.load()}) {
        lom_set_reference_bitmap(bits.data(), id);
    }
    return bits;
}

std::string bit_left(const gchar* object) {
    guint32 size = 0;
    gpointer copy = nullptr;
    if (lom_get_object_handle(object) == 0 ||
        lom_copy_object(object, &size, &copy, 0, FALSE) != MOX_OK) {
        return std::string(object) + " is not found";
    }
    auto* const bitmap = reinterpret_cast<gint*>(static_cast<OBJECT_HEAD_S*>(copy)->ref_bitmap);
    g_free(copy);
    const auto known = known_bits();
    for (std::size_t word = 0; word < known.size(); ++word) {
        const auto bits = static_cast<guint32>(g_atomic_int_get(bitmap + word));
        if ((bits & ~known[word]) != 0) {
            return std::string(object) + " has a bit of nobody in word " + std::to_string(word) +
                   ": " + std::to_string(bits & ~known[word]);
        }
    }
    return "";
}

std::string any_bit_left(MoxHostModule* module) {
    CallError error;
    gsize count = 0;
    MoxHostObjectInfo* const infos = moxhost_object_infos(module, nullptr, &count, error.out());
    if (infos == nullptr) {
        return "the list of objects: " + error.text();
    }
    std::string left;
    for (gsize at = 0; at < count && left.empty(); ++at) {
        left = bit_left(infos[at].name);
    }
    g_free(infos);
    return left;
}

// Of the objects that are there: the lock of one that was unplugged while a victim held it has no
// next taker before it is handed out again, and is looked at then.
std::string lock_left(MoxHostModule* module) {
    CallError error;
    gsize count = 0;
    MoxHostLockInfo* const locks = moxhost_lock_infos(module, FALSE, &count, error.out());
    if (locks == nullptr) {
        return "the list of locks: " + error.text();
    }
    std::string left;
    for (gsize at = 0; at < count && left.empty(); ++at) {
        if (locks[at].holder_is_dead != FALSE) {
            left = std::string("the lock of ") + locks[at].object + " is held by the dead thread " +
                   std::to_string(locks[at].holder);
        }
    }
    g_free(locks);
    return left;
}

std::string set_board(MoxHostModule* module, const char* board, bool is_wanted) {
    CallError error;
    gboolean is_plugged = FALSE;
    if (moxhost_board_state(module, board, &is_plugged, nullptr, error.out()) == FALSE) {
        return std::string(board) + ": " + error.text();
    }
    if (is_plugged != FALSE && moxhost_unplug_board(module, board, nullptr, error.out()) == FALSE) {
        return std::string("unplugging ") + board + ": " + error.text();
    }
    if (is_wanted && moxhost_plug_board(module, board, error.out()) == FALSE) {
        return std::string("plugging ") + board + ": " + error.text();
    }
    return "";
}

// A number, or the letter of a text.
std::int32_t number_of(GVariant* value) {
    return g_variant_is_of_type(value, G_VARIANT_TYPE_INT32) != FALSE
               ? g_variant_get_int32(value)
               : g_variant_get_string(value, nullptr)[0] - 'A';
}

// Whether a text that was saved is a whole one.
std::string saved_text_fault(GVariant* value) {
    return g_variant_is_of_type(value, G_VARIANT_TYPE_STRING) != FALSE
               ? text_fault(g_variant_get_data(value), g_variant_get_size(value))
               : "";
}

std::string saved_fault_of(std::size_t kind) {
    constexpr std::array<PER_MODE_E, kSavedKinds> modes = {PER_MODE_PERMANENT, PER_MODE_POWER_OFF,
                                                           PER_MODE_RESET, PER_MODE_PERMANENT};
    SavedState& saved = shared_page().saved[kind];
    const std::int32_t reported = saved.reported;
    const std::int32_t attempted = saved.attempted;
    if (attempted == 0) {
        return "";
    }
    // The library reads back what is saved for processes only that may write the object.
    lom_set_writable(lom_get_object_handle(kStore), OBJECT_READ_WRITE);
    GVariant* value = nullptr;
    const gint32 status = lom_get_saved_value(lom_get_object_handle(kStore), kSavedNames[kind],
                                              &value, modes[kind], TRUE);
    if (status != MOX_OK) {
        return reported == 0 ? ""
                             : std::string(kSavedNames[kind]) + " was reported as saved, and is " +
                                   std::to_string(status) + " " + mox_status_name(status);
    }
    const std::int32_t number = number_of(value);
    std::string fault = saved_text_fault(value);
    g_variant_unref(value);
    if (fault.empty() && number != reported && number != attempted) {
        fault = "is " + std::to_string(number);
    }
    saved.reported = number;
    saved.attempted = number;
    return fault.empty() ? ""
                         : std::string(kSavedNames[kind]) + " was reported as saved with " +
                               std::to_string(reported) + ", begun with " +
                               std::to_string(attempted) + ", and " + fault;
}

}  // namespace

std::string leftovers(MoxHostModule* module) {
    const int queues = lines_of("/proc/sysvipc/msg");
    if (queues != members) {
        return std::to_string(queues) + " queues instead of " + std::to_string(members);
    }
    std::string left = member_left(module);
    if (left.empty()) {
        left = any_bit_left(module);
    }
    if (left.empty()) {
        left = lock_left(module);
    }
    if (left.empty()) {
        const guint64 removed = pool_of(module).removed;
        left = removed == 0 ? "" : std::to_string(removed) + " removed objects are not freed";
    }
    return left;
}

std::string put_boards_back(MoxHostModule* module) {
    const std::string cause = set_board(module, kUnplugged, false);
    return cause.empty() ? set_board(module, kPlugged, true) : cause;
}

std::string plug_both_boards(MoxHostModule* module) {
    const std::string cause = set_board(module, kUnplugged, true);
    return cause.empty() ? set_board(module, kPlugged, true) : cause;
}

std::string saved_fault() {
    std::string fault;
    for (std::size_t kind = 0; kind < kSavedKinds && fault.empty(); ++kind) {
        fault = saved_fault_of(kind);
    }
    return fault;
}

MoxHostPoolInfo pool_of(MoxHostModule* module) {
    CallError error;
    MoxHostPoolInfo pool = {};
    if (moxhost_pool_info(module, &pool, error.out()) == FALSE) {
        throw Failed("the use of the pool is not told: " + error.text());
    }
    return pool;
}

std::string pool_text(const MoxHostPoolInfo& pool) {
    return std::to_string(pool.used) + " bytes in " + std::to_string(pool.blocks) + " blocks (" +
           std::to_string(pool.objects) + " of objects, " + std::to_string(pool.classes) +
           " of classes)";
}

bool is_same_use(const MoxHostPoolInfo& one, const MoxHostPoolInfo& other) {
    return one.blocks == other.blocks && one.objects == other.objects &&
           one.classes == other.classes && one.removed == other.removed;
}

}  // namespace mox::kills
