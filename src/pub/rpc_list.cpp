// Lists of values, bytes and type strings to and from lists of RPC records. The record is a wire
// record: its offsets are the same on every word size.
#include <pub.h>

#include <algorithm>
#include <cstddef>

#include "base/bounded_copy.hpp"
#include "base/store_value.hpp"

static_assert(offsetof(RPC_DATA_S, size) == 8);
static_assert(offsetof(RPC_DATA_S, data) == PUB_RPC_HEAD_SIZE);

namespace {

RPC_DATA_S* new_record(guint32 size) {
    // A sum that wraps asks for size bytes instead, which no 32-bit process has: exhaustion, not a
    // short block.
    const gsize total = std::max<gsize>(gsize{size} + PUB_RPC_HEAD_SIZE, size);
    auto* record = static_cast<RPC_DATA_S*>(g_malloc0(total));
    record->size = size;
    return record;
}

// Maps a list element by element; null results of make are left out. The order is kept.
template <typename Make>
GSList* map_list(GSList* list, Make make) {
    GSList* result = nullptr;
    for (GSList* item = list; item != nullptr; item = item->next) {
        if (item->data != nullptr) {
            if (gpointer made = make(item->data)) {
                result = g_slist_prepend(result, made);
            }
        }
    }
    return g_slist_reverse(result);
}

gpointer record_of_value(gpointer item) {
    auto* value = static_cast<GVariant*>(item);
    RPC_DATA_S* record = new_record(static_cast<guint32>(g_variant_get_size(value)));
    g_strlcpy(record->type, g_variant_get_type_string(value), PUB_TYPE_LENGTH);
    mox::store_value(value, record->data);
    return record;
}

gpointer record_of_type(gpointer item) {
    RPC_DATA_S* record = new_record(PUB_TYPE_LENGTH);
    g_strlcpy(record->type, "s", PUB_TYPE_LENGTH);
    g_strlcpy(reinterpret_cast<gchar*>(record->data), static_cast<const gchar*>(item),
              PUB_TYPE_LENGTH);
    return record;
}

// A type field that came over a queue need not be terminated, nor name a type.
gpointer value_of_record(gpointer item) {
    const auto* record = static_cast<const RPC_DATA_S*>(item);
    gchar type[PUB_TYPE_LENGTH + 1] = {};
    MOX_LOG_COPY(MOX_COPY_FAILED_SPACED, "pub",
                 memmove_s(type, sizeof(type), record->type, PUB_TYPE_LENGTH));
    if (record->size == 0 || !g_variant_type_string_is_valid(type) ||
        !g_variant_type_is_definite(g_variant_type_checked_(type))) {
        return nullptr;
    }
    gpointer copy = g_memdup2(record->data, record->size);
    // Not trusted: text without its terminator must not be read past its end.
    return g_variant_new_from_data(g_variant_type_checked_(type), copy, record->size, FALSE, g_free,
                                   copy);
}

gpointer data_of_record(gpointer item) {
    const auto* record = static_cast<const RPC_DATA_S*>(item);
    return g_memdup2(record->data, record->size);
}

}  // namespace

RPC_DATA_S* pub_data_to_rpc(guint32 size, const gchar* type, gconstpointer data) {
    if (data == nullptr || size == 0) {
        return nullptr;
    }
    RPC_DATA_S* record = new_record(size);
    if (type != nullptr) {
        g_strlcpy(record->type, type, PUB_TYPE_LENGTH);
    }
    MOX_LOG_COPY(MOX_COPY_FAILED_SPACED, "pub_data_to_rpc",
                 memmove_s(record->data, size, data, size));
    return record;
}

GSList* pub_list_data_to_rpcslist(GList* list, guint32 data_size) {
    GSList* result = nullptr;
    for (GList* item = list; item != nullptr; item = item->next) {
        result = g_slist_prepend(result, pub_data_to_rpc(data_size, nullptr, item->data));
    }
    return result;
}

GSList* pub_slist_data_to_rpc(GSList* list, guint32 size) {
    GSList* result = nullptr;
    for (GSList* item = list; item != nullptr; item = item->next) {
        RPC_DATA_S* record = new_record(size);
        MOX_LOG_COPY(MOX_COPY_FAILED_TIGHT, "pub", memmove_s(record->data, size, item->data, size));
        result = g_slist_prepend(result, record);
    }
    return result;
}

GSList* pub_slist_varaint_to_rpc(GSList* variant_list) {
    return map_list(variant_list, record_of_value);
}

GSList* pub_slist_vartype_to_rpc(GSList* variant_type_list) {
    return map_list(variant_type_list, record_of_type);
}

GSList* pub_slist_rpc_to_varaint(GSList* rpc_list) {
    return map_list(rpc_list, value_of_record);
}

GSList* pub_slist_rpc_to_data(GSList* rpc_list) {
    return map_list(rpc_list, data_of_record);
}

GSList* pub_slist_rpc_to_string(GSList* rpc_list) {
    return pub_slist_rpc_to_data(rpc_list);
}

gint pub_slist_str_data_compare(gconstpointer a, gconstpointer b) {
    return g_strcmp0(static_cast<const gchar*>(a), static_cast<const gchar*>(b));
}

GNode* pub_gnode_get_parent(GNode* node) {
    return node == nullptr ? nullptr : node->parent;
}
