// A bitmap is memory that is freed with its object, and a module can drop the last copy at any
// moment. So each bitmap that is kept here has one more bit set, which is no module's: the object
// cannot be reclaimed before that bit is cleared, and then the bitmap is not looked at any more.
// Nobody sets a bit anew, because copies are made of objects in the table only.
#include "owner/removed_objects.hpp"

#include <lom.h>

#include <algorithm>
#include <atomic>

#include "wire/interface.hpp"

namespace mox::host {
namespace {

constexpr guint32 kept_here = wire::removed_mark;

bool has_copies(guint32* bitmap) {
    guint32 bits = 0;
    for (int word = 0; word < LOM_REF_BITMAP_WORDS; ++word) {
        bits |= std::atomic_ref<guint32>(bitmap[word]).load() & (word == 0 ? ~kept_here : ~0U);
    }
    return bits != 0;
}

bool has_any_copies(const std::vector<guint32*>& bitmaps) {
    return std::any_of(bitmaps.begin(), bitmaps.end(), has_copies);
}

// Null for an object that is not in the table.
guint32* bitmap_of(const std::string& object) {
    guint32 size = 0;
    gpointer copy = nullptr;
    // For no module, so no bit changes.
    if (lom_copy_object(object.c_str(), &size, &copy, 0, FALSE) != MOX_OK) {
        return nullptr;
    }
    guint32* const bitmap = static_cast<OBJECT_HEAD_S*>(copy)->ref_bitmap;
    g_free(copy);
    return bitmap;
}

}  // namespace

void RemovedObjects::note(const std::vector<const ObjectDef*>& objects) {
    Bitmaps bitmaps;
    for (const ObjectDef* const object : objects) {
        if (guint32* const bitmap = bitmap_of(object->name)) {
            std::atomic_ref<guint32>(bitmap[0]).fetch_or(kept_here);
            bitmaps.push_back(bitmap);
        }
    }
    removals_.push_back(std::move(bitmaps));
}

void RemovedObjects::release(gint32 bitmap_id) {
    for (const Bitmaps& bitmaps : removals_) {
        for (guint32* const bitmap : bitmaps) {
            lom_clear_reference_bitmap(bitmap, bitmap_id);
        }
    }
}

void RemovedObjects::reclaim() {
    const auto free_now = std::partition(removals_.begin(), removals_.end(), has_any_copies);
    std::for_each(free_now, removals_.end(), [](const Bitmaps& bitmaps) {
        for (guint32* const bitmap : bitmaps) {
            std::atomic_ref<guint32>(bitmap[0]).fetch_and(~kept_here);
        }
    });
    removals_.erase(free_now, removals_.end());
    lom_reclaim_garbage();
}

}  // namespace mox::host
