// The classes below a class. The loader sets the links, so the walk takes them as they come: it
// keeps its own stack, however deep they lead, and visits no class twice, wherever they lead back.
#include "base/glib_ptr.hpp"
#include "classtree/class_tree.hpp"

namespace {

// The class where a walk begins: the first of that name, or else the last one of the tree.
const DEFINED_CLASS_NODE_S* find_start(const DEFINED_CLASS_ARRAY_S& tree, const gchar* class_name) {
    gsize index = 0;
    while (index + 1 < tree.size && !mox::has_name(tree.classes[index].name, class_name)) {
        ++index;
    }
    return tree.classes + index;
}

}  // namespace

void _traverse_specific_tree(const DEFINED_CLASS_NODE_S* start_node, GSList** list) {
    const mox::HashTablePtr seen(g_hash_table_new(g_direct_hash, g_direct_equal));
    // The classes that wait, the next one first: of several children the last.
    GSList* waiting = nullptr;
    GSList* names = nullptr;
    const auto put = [&](const DEFINED_CLASS_NODE_S* node) {
        auto* entry = const_cast<DEFINED_CLASS_NODE_S*>(node);
        const bool is_new = g_hash_table_add(seen.get(), entry);
        if (is_new) {
            waiting = g_slist_prepend(waiting, entry);
        }
        return is_new;
    };
    put(start_node);
    while (waiting != nullptr) {
        const auto* node = static_cast<const DEFINED_CLASS_NODE_S*>(waiting->data);
        waiting = g_slist_delete_link(waiting, waiting);
        if (node->name != nullptr) {
            names = g_slist_prepend(names, node->name);
        }
        // A child that was seen already ends its chain: the links lead back there.
        for (const DEFINED_CLASS_NODE_S* child = node->children; child != nullptr && put(child);) {
            child = child->next;
        }
    }
    *list = g_slist_concat(g_slist_reverse(names), *list);
}

gint32 clt_get_all_children(const gchar* class_name, GSList** cld_list) {
    if (class_name == nullptr || cld_list == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    *cld_list = nullptr;
    const DEFINED_CLASS_ARRAY_S* tree = mox::class_tree();
    if (tree != nullptr && tree->size > 0) {
        _traverse_specific_tree(find_start(*tree, class_name), cld_list);
    }
    return MOX_OK;
}
