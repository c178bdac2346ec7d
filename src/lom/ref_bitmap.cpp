// One bit per module that holds a copy of a record. Several processes write the same words at once,
// so they change only by atomic or and and-not with full barriers.
#include "lom/ref_bitmap.hpp"

#include <lom/lifecycle.h>
#include <lom/sharing.h>

#include "base/mutex_guard.hpp"
#include "lom/object_table.hpp"

gint32 g_bitmap_id = 0;

namespace {

constexpr guint32 kMostId = 127;
constexpr guint32 kWordBits = 32;

bool is_valid(const guint32* ref_bitmap, gint32 bitmap_id) {
    return ref_bitmap != nullptr && static_cast<guint32>(bitmap_id) - 1U < kMostId;
}

// Clears one module's bit in one record of the table.
void _container_unref([[maybe_unused]] gpointer key, gpointer value, gpointer user_data) {
    lom_clear_reference_bitmap(static_cast<OBJECT_HEAD_S*>(value)->ref_bitmap,
                               GPOINTER_TO_INT(user_data));
}

}  // namespace

void lom_set_reference_bitmap(guint32* ref_bitmap, gint32 bitmap_id) {
    if (is_valid(ref_bitmap, bitmap_id)) {
        const auto id = static_cast<guint32>(bitmap_id);
        g_atomic_int_or(ref_bitmap + id / kWordBits, 1U << id % kWordBits);
    }
}

void lom_clear_reference_bitmap(guint32* ref_bitmap, gint32 bitmap_id) {
    if (is_valid(ref_bitmap, bitmap_id)) {
        const auto id = static_cast<guint32>(bitmap_id);
        g_atomic_int_and(ref_bitmap + id / kWordBits, ~(1U << id % kWordBits));
    }
}

void lom_set_bitmap_id(gint32 id) {
    g_bitmap_id = id;
}

void lom_batch_unref(gint32 bitmap_id) {
    if (bitmap_id == 0) {
        return;
    }
    const mox::RecursiveGuard guard(g_obj_hash_mutex);
    if (g_local_object_hashtable != nullptr) {
        g_hash_table_foreach(g_local_object_hashtable, _container_unref,
                             GINT_TO_POINTER(bitmap_id));
    }
}
