// A bitmap is memory that is freed with its object, and a module can drop the last copy at any
// moment. So each bitmap that is kept here has one more bit set, which is no module's: the object
// cannot be reclaimed before that bit is cleared, and then the bitmap is not looked at any more.
// Nobody sets a bit anew, because copies are made of objects in the table only.
#include "owner/removed_objects.hpp"

#include <lom.h>

#include <algorithm>
#include <atomic>

#include "owner/object_record.hpp"
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

}  // namespace

void RemovedObjects::note(const std::vector<const ObjectDef*>& objects) {
    Bitmaps bitmaps;
    for (const ObjectDef* const object : objects) {
        if (const RecordPtr record = record_of(object->name)) {
            guint32* const bitmap = record->ref_bitmap;
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

std::size_t RemovedObjects::count() const {
    std::size_t count = 0;
    for (const Bitmaps& bitmaps : removals_) {
        count += bitmaps.size();
    }
    return count;
}

}  // namespace mox::host
