// Any thread that looks an object up holds the object table's mutex until the copy is in the table,
// so a drop never overtakes a copy that the owner made before the removal.
#include "module/dropped_copies.hpp"

#include <lom.h>

#include "module/owner_link.hpp"
#include "wire/interface.hpp"

namespace mox::host {

void drop_copies(guint32 position) {
    lom_batch_delete(position, nullptr);
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
