// Owners of GLib memory: freed at scope end, handed over visibly with .release().
#ifndef MOX_BASE_GLIB_PTR_HPP
#define MOX_BASE_GLIB_PTR_HPP

#include <glib.h>

#include <memory>

namespace mox {

struct FreeMemory {
    void operator()(gpointer memory) const { g_free(memory); }
};
struct UnrefVariant {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
struct FreeSList {
    void operator()(GSList* list) const { g_slist_free(list); }
};
struct DestroyTable {
    void operator()(GHashTable* table) const { g_hash_table_destroy(table); }
};

template <typename T>
using GPtr = std::unique_ptr<T, FreeMemory>;
using CharPtr = GPtr<gchar>;
using VariantPtr = std::unique_ptr<GVariant, UnrefVariant>;
using SListPtr = std::unique_ptr<GSList, FreeSList>;
using HashTablePtr = std::unique_ptr<GHashTable, DestroyTable>;

}  // namespace mox

#endif
