// Reads and writes: of stored, live and raw values, several at once, through references, formulas
// and hardware; overrides.
#include <moxplat/osal.h>

#include <cstring>
#include <memory>

#include "expect.hpp"

namespace mox::test {
namespace {

struct UnrefVariant {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, UnrefVariant>;

OBJ_HANDLE handle(const std::string& name) {
    return lom_name_to_handle(name.c_str());
}

VariantPtr text_value(const std::string& text) {
    return VariantPtr{g_variant_ref_sink(g_variant_new_string(text.c_str()))};
}

// "Label", or for a fan one of its two texts.
const char* any_text(Player& player, const std::string& object) {
    return is_steady(object) && player.chance(50) ? "Note" : "Label";
}

// A value that a traversal or a read of several gave.
void look_at(Player& player, GVariant* value, const std::string& what) {
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
        expect_whole(player, g_variant_get_string(value, nullptr), what);
    } else if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32)) {
        expect_number(player, g_variant_get_uint32(value), what);
    }
}

void read_value(Player& player) {
    const std::string& name = any_label(player);
    const gboolean is_live = player.chance(50) ? TRUE : FALSE;
    GVariant* value = nullptr;
    const gint32 code =
        lom_get_property_value(handle(name), any_text(player, name), is_live, &value, FALSE);
    const VariantPtr owned{value};
    expect_code(player, code, ok_or_gone(name), "a read of " + name);
    if (code == MOX_OK) look_at(player, value, name);
}

void read_number(Player& player) {
    const std::string& name = any_label(player);
    GVariant* value = nullptr;
    const gint32 code = lom_get_property_value(handle(name), "Level", FALSE, &value, FALSE);
    const VariantPtr owned{value};
    expect_code(player, code, ok_or_gone(name), "a read of a number of " + name);
    if (code == MOX_OK) look_at(player, value, name);
}

void read_bytes(Player& player) {
    const std::string& name = any_label(player);
    TLV_S value = {};
    const gint32 code = player.chance(50)
                            ? lom_get_property_data(handle(name), "Label", FALSE, &value, FALSE)
                            : lom_get_property_memory_data(handle(name), "Label", &value);
    const std::unique_ptr<void, decltype(&g_free)> owned{value.data, g_free};
    expect_code(player, code, ok_or_gone(name), "a read of the bytes of " + name);
    if (code != MOX_OK) return;
    const auto* const bytes = static_cast<const char*>(value.data);
    if (value.size == 0 || bytes[value.size - 1] != '\0') {
        expect_whole(player, "",
                     name + ": " + std::to_string(value.size) + " bytes without an end");
    }
    expect_whole(player, std::string(bytes, value.size - 1), name);
}

void read_into_buffer(Player& player) {
    const std::string& name = any_label(player);
    guchar buffer[kMostLetters + 1] = {};
    const gint32 code =
        lom_get_property_value_v2(handle(name), "Label", FALSE, sizeof buffer, buffer, FALSE);
    expect_code(player, code, ok_or_gone(name), "a read into a buffer of " + name);
    if (code == MOX_OK) expect_whole(player, reinterpret_cast<const char*>(buffer), name);
}

// Reads properties of an object at once. Returns the values, or null.
GSList* read_together(Player& player, const std::string& object, std::vector<const char*> names,
                      std::initializer_list<gint32> allowed) {
    GSList* list = nullptr;
    for (const char* const name : names) list = g_slist_append(list, const_cast<char*>(name));
    GSList* values = nullptr;
    const gint32 code = lom_multiget_property_value(handle(object), list, &values);
    g_slist_free(list);
    expect_code(player, code, allowed, "a read of several properties of " + object);
    if ((code == MOX_OK) != (values != nullptr) ||
        (values != nullptr && g_slist_length(values) != names.size())) {
        expect_code(player, code, {}, "a read of several that gave another number of values");
    }
    return values;
}

void free_values(GSList* values) {
    g_slist_free_full(values,
                      [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
}

void read_several(Player& player) {
    const std::string& name = any_label(player);
    GSList* const values = read_together(player, name, {"Label", "Level"}, ok_or_gone(name));
    for (const GSList* item = values; item != nullptr; item = item->next) {
        look_at(player, static_cast<GVariant*>(item->data), name);
    }
    free_values(values);
}

// The numbers of the pair are written together under its lock: one read of both sees them equal.
void read_pair(Player& player) {
    const std::string name = player.chance(50) ? "Pair" : "Partner";
    GSList* const values = read_together(player, name, {"A", "B"}, {MOX_OK});
    const guint32 first = g_variant_get_uint32(static_cast<GVariant*>(values->data));
    const guint32 second = g_variant_get_uint32(static_cast<GVariant*>(values->next->data));
    free_values(values);
    expect_number(player, first, name);
    if (first != second && name == "Pair") {
        expect_code(player, -1, {}, "a read of the pair saw two writes, which");
    }
}

void write_pair(Player& player) {
    const auto number = static_cast<guint32>(player.below(kMostInput));
    const OBJ_HANDLE pair = handle("Pair");
    expect_code(player, lom_lock_object(pair), {MOX_OK}, "locking the pair");
    for (SERIALISED_PROPERTY_S* at = player.model.pair().property_entry; at != nullptr;
         at = at->next_ptr) {
        std::memcpy(at->data, &number, sizeof number);
    }
    expect_code(player, lom_unlock_object(pair), {MOX_OK}, "unlocking the pair");
}

void write_text(Player& player) {
    const std::string& name = any_label(player);
    const char* const property = any_text(player, name);
    const VariantPtr value = text_value(letters(player));
    const gint32 code =
        lom_set_property_value(handle(name), property, value.get(), PER_MODE_NOSUPPORT, FALSE);
    if (is_steady(name)) {
        expect_code(player, code, {MOX_OK, MOX_ERR_OVERRIDDEN}, "a write to " + name);
    } else {
        expect_code(player, code, ok_or_gone(name), "a write to " + name);
    }
}

void write_number(Player& player) {
    const std::string& name = any_label(player);
    const VariantPtr value{
        g_variant_ref_sink(g_variant_new_uint32(static_cast<guint32>(player.below(kMostInput))))};
    expect_code(
        player,
        lom_set_property_value(handle(name), "Level", value.get(), PER_MODE_NOSUPPORT, FALSE),
        ok_or_gone(name), "a write of a number to " + name);
}

void store_in_place(Player& player) {
    const std::string& name = any_label(player);
    const std::string text = letters(player);
    expect_code(player,
                lom_realloc_property(name.c_str(), "Label", "s",
                                     static_cast<guint32>(text.size() + 1), text.c_str()),
                ok_or_gone(name), "storing a text of " + name);
}

// The announcement of an override may meet a full queue.
void override_text(Player& player) {
    const std::string& name = player.model.fans()[player.below(player.model.fans().size())];
    const VariantPtr value = text_value(letters(player));
    gboolean is_modified = FALSE;
    expect_code(player,
                lom_override_property_value(handle(name), "Note", value.get(), PROPERTY_OVERRIDE,
                                            &is_modified),
                {MOX_OK, OSAL_ERR_FULL}, "an override of " + name);
    read_value(player);
    expect_code(player,
                lom_override_property_value(handle(name), "Note", nullptr, PROPERTY_CANCEL_OVERRIDE,
                                            nullptr),
                {MOX_OK}, "the end of an override of " + name);
}

void walk_properties(Player& player) {
    const std::string& name = any_label(player);
    const gint32 code = lom_foreach_property(
        handle(name),
        [](OBJ_HANDLE, const gchar* property, GVariant* value, gpointer data) {
            look_at(*static_cast<Player*>(data), value, std::string("a walk at ") + property);
        },
        &player);
    expect_code(player, code, ok_or_gone(name), "a walk over the properties of " + name);
}

void read_view(Player& player) {
    GVariant* value = nullptr;
    expect_code(player, lom_get_property_value(handle("View"), "Twin", FALSE, &value, FALSE),
                {MOX_OK}, "a read through a reference");
    const VariantPtr owned{value};
    look_at(player, value, "View.Twin");
}

void write_view(Player& player) {
    if (player.chance(30)) {
        const std::string target = player.chance(50) ? "Fan2.Label" : "Fan3.Label";
        expect_code(player,
                    lom_realloc_property("View", "Twin", "s",
                                         static_cast<guint32>(target.size() + 1), target.c_str()),
                    {MOX_OK}, "turning a reference");
        return;
    }
    const VariantPtr value = text_value(letters(player));
    expect_code(
        player,
        lom_set_property_value(handle("View"), "Twin", value.get(), PER_MODE_NOSUPPORT, FALSE),
        {MOX_OK}, "a write through a reference");
}

void compute(Player& player) {
    GVariant* value = nullptr;
    expect_code(player, lom_get_property_value(handle("Sum"), "Value", TRUE, &value, FALSE),
                {MOX_OK}, "a formula");
    const VariantPtr owned{value};
    const auto result = static_cast<guint32>(g_variant_get_double(value));
    if (result % 2 != 0) expect_code(player, static_cast<gint32>(result), {}, "an odd result");
    expect_number(player, result / 2, "a formula");
}

void use_hardware(Player& player) {
    const OBJ_HANDLE fan = handle("Fan1");
    if (player.chance(20)) {
        player.model.put_in_chip(player.thread, static_cast<guint32>(player.below(kMostInput)));
    }
    GVariant* value = nullptr;
    expect_code(player, lom_get_property_value(fan, "Speed", TRUE, &value, FALSE), {MOX_OK},
                "a read of hardware");
    const VariantPtr owned{value};
    look_at(player, value, "Fan1.Speed");
    guint32 raw[2] = {};
    expect_code(player, lom_block_read(fan, "Speed", 0, 0, raw), {MOX_OK}, "a raw read");
    expect_number(player, raw[0], "Fan1.Speed, raw");
    gchar chip[PUB_NAME_LENGTH];
    expect_code(player, lom_get_property_chip(fan, "Speed", chip, sizeof chip), {MOX_OK},
                "the chip's name");
    if (player.chance(10)) lom_property_batch_read();
}

}  // namespace

const std::vector<NamedCall>& value_calls() {
    static const std::vector<NamedCall> calls = {
        {"read", 8, read_value},
        {"read a number", 4, read_number},
        {"read bytes", 4, read_bytes},
        {"read into a buffer", 4, read_into_buffer},
        {"read several", 4, read_several},
        {"read the pair", 4, read_pair},
        {"write the pair", 3, write_pair},
        {"write a text", 8, write_text},
        {"write a number", 4, write_number},
        {"store in place", 4, store_in_place},
        {"override", 3, override_text},
        {"walk properties", 3, walk_properties},
        {"read a reference", 3, read_view},
        {"write a reference", 3, write_view},
        {"compute", 3, compute},
        {"use hardware", 2, use_hardware},
    };
    return calls;
}

}  // namespace mox::test
