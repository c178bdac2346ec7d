// Any thread that looks an object up holds the object table's mutex until the copy is in the table,
// so a drop never overtakes a copy that the owner made before the removal.
#include "module/dropped_copies.hpp"

#include <lom.h>

#include <atomic>

#include "module/owner_link.hpp"
#include "wire/interface.hpp"

namespace mox::host {

namespace {

struct Search {
    guint32 position;
    bool has_removed;
};

// The traversal holds the records, so what they point to stays.
void look_at(const gchar*, OBJ_HANDLE object, gpointer user_data) {
    auto* const search = static_cast<Search*>(user_data);
    guint32 size = 0;
    gpointer copy = nullptr;
    if (lom_get_position(object) != search->position ||
        lom_copy_object(lom_get_object_name(object), &size, &copy, 0, FALSE) != MOX_OK) {
        return;
    }
    guint32* const bitmap = static_cast<OBJECT_HEAD_S*>(copy)->ref_bitmap;
    g_free(copy);
    if ((std::atomic_ref<guint32>(bitmap[0]).load() & wire::removed_mark) != 0) {
        search->has_removed = true;
    }
}

}  // namespace

void drop_copies(guint32 position) {
    // Word of a removal may come when the board is there again and has been copied anew.
    Search search{position, false};
    lom_foreach_object(look_at, &search);
    if (search.has_removed) {
        lom_batch_delete(position, nullptr);
    }
}

void drop_copies_and_tell(guint32 position) {
    drop_copies(position);
    owner_link().tell("CopiesDropped", g_variant_new(wire::gone_type, position));
}

void drop_all_copies() {
    lom_foreach_object([](const gchar*, OBJ_HANDLE object, gpointer) { lom_delete_object(object); },
                       nullptr);
}

}  // namespace mox::host
