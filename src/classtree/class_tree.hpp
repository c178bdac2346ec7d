// Internal view of the class tree: where this process finds it, and the searches below the public
// lookups.
#ifndef MOX_CLASSTREE_CLASS_TREE_HPP
#define MOX_CLASSTREE_CLASS_TREE_HPP

#include <classtree.h>

#include <cstring>

#include "base/published.hpp"

// The tree; null until this process built or installed it.
extern DEFINED_CLASS_ARRAY_S* g_class_tree;

// Finds a class's methods. class_name: nullable. Null, and logged, when the class is not found or
// has none; null in silence for a null name and without a tree.
DEFINED_METHOD_ARRAY_S* _get_method_array(const gchar* class_name);

// Finds a method. method_array, method_name: nullable. Null when there is none, which is logged for
// a name and an array.
DEFINED_METHOD_NODE_S* _get_method(DEFINED_METHOD_ARRAY_S* method_array, const gchar* method_name);

// Finds a method's constant property. method_node, property_name: nullable. Null when there is
// none.
METHOD_PROPERTY_NODE_S* _get_method_property(DEFINED_METHOD_NODE_S* method_node,
                                             const gchar* property_name);

// Puts the names of a class and of those below it in front of a list, the class's own first.
// start_node, list: not null.
void _traverse_specific_tree(const DEFINED_CLASS_NODE_S* start_node, GSList** list);

namespace mox {

inline DEFINED_CLASS_ARRAY_S* class_tree() {
    return read_published(g_class_tree);
}

// True when a node has this name. A node whose name found no room in the pool has none.
// wanted: not null.
inline bool has_name(const gchar* name, const gchar* wanted) {
    return name != nullptr && std::strcmp(name, wanted) == 0;
}

}  // namespace mox

#endif
