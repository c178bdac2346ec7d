// A walk over everything that points into the pool.
#include "pool_blocks.hpp"

#include <classnode.h>
#include <classtree.h>
#include <lom/object.h>
#include <moxfake/space.h>

#include <set>

#include "classnode/class_table.hpp"
#include "lom/garbage.hpp"
#include "lom/object_table.hpp"

namespace mox::test {
namespace {

namespace space = mox::fake::space;

class Walk {
public:
    void tree(const DEFINED_CLASS_ARRAY_S* tree) {
        add(tree);
        for (gsize at = 0; tree != nullptr && at < tree->size; ++at) {
            add(tree->classes[at].name);
            properties(tree->classes[at].property_array);
            methods(tree->classes[at].method_array);
        }
    }

    void classes(GHashTable* table) {
        each(table, [this](gpointer node) {
            const SHARE_CLASS_DATA_S* share = static_cast<CLS_HANDLE>(node)->share;
            if (share == nullptr) return;
            add(share);
            add(share->class_name);
            for (const SERIALIZED_LISTENER_LIST_S* list = share->listener_array; list != nullptr;
                 list = list->next) {
                add(list);
                add(list->property_name);
                add(list->listener_array);
            }
        });
    }

    void objects(GHashTable* table) {
        each(table, [this](gpointer record) { object(*static_cast<OBJECT_HEAD_S*>(record)); });
    }

    PoolBlocks result() const {
        PoolBlocks blocks;
        gsize bytes = 0;
        for (const gconstpointer block : found_) {
            if (!space::is_live(block)) ++blocks.dangling;
            bytes += space::size_of(block);
        }
        blocks.unreachable = space::live_blocks() + blocks.dangling - found_.size();
        blocks.unreachable_bytes = space::live_bytes() - bytes;
        return blocks;
    }

private:
    template <typename Visit>
    static void each(GHashTable* table, Visit visit) {
        if (table == nullptr) return;
        GHashTableIter iter;
        gpointer value = nullptr;
        g_hash_table_iter_init(&iter, table);
        while (g_hash_table_iter_next(&iter, nullptr, &value) != FALSE) visit(value);
    }

    void add(gconstpointer block) {
        if (block != nullptr) found_.insert(block);
    }

    void properties(const DEFINED_PROPERTY_ARRAY_S* array) {
        add(array);
        for (gsize at = 0; array != nullptr && at < array->size; ++at)
            add(array->property[at].name);
    }

    void methods(const DEFINED_METHOD_ARRAY_S* array) {
        add(array);
        for (gsize at = 0; array != nullptr && at < array->size; ++at) {
            const DEFINED_METHOD_NODE_S& method = array->method[at];
            add(method.name);
            add(method.para[INPUT_PARA]);
            add(method.para[OUTPUT_PARA]);
            add(method.property_arr);
            for (gsize index = 0;
                 method.property_arr != nullptr && index < method.property_arr->count; ++index) {
                add(method.property_arr->property[index].name);
                add(method.property_arr->property[index].data);
            }
        }
    }

    // What a record that stands for another one shows is the other one's.
    void object(const OBJECT_HEAD_S& record) {
        add(record.ref_bitmap);
        add(record.mutex_obj_name);
        add(record.object_name);
        add(record.class_name);
        add(record.property_entry);
        for (const SERIALISED_PROPERTY_S* property = record.property_entry; property != nullptr;
             property = property->next_ptr) {
            add(property->accessor);
            if (property->data != property->data_hold) add(property->data);
        }
        for (const CLASS_OBJECT_LIST_S* names = record.name_list; names != nullptr;
             names = names->next) {
            add(names);
            add(names->class_name);
            add(names->object_name);
        }
    }

    std::set<gconstpointer> found_;
};

}  // namespace

PoolBlocks reachable_pool_blocks() {
    Walk walk;
    walk.tree(static_cast<const DEFINED_CLASS_ARRAY_S*>(clt_get_class_tree_addr()));
    walk.classes(g_class_hashtable);
    walk.objects(g_local_object_hashtable);
    walk.objects(g_recycle_hashtable);
    return walk.result();
}

}  // namespace mox::test
