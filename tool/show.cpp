// show: all there is to know of one object. Values are read one by one, so that one that cannot be
// read does not hide the others.
#include <lom.h>

#include <array>

#include "json_writer.hpp"
#include "model_reads.hpp"
#include "table.hpp"
#include "value_text.hpp"
#include "verb_table.hpp"

namespace mox::tool {
namespace {

gboolean wants_refresh = FALSE;

constexpr GOptionEntry show_options[] = {{"refresh", 0, 0, G_OPTION_ARG_NONE, &wants_refresh,
                                          "have the owner read all its hardware first", nullptr},
                                         {}};

constexpr glong longest_shown = 40;  // characters of a text in the table

std::vector<std::string> state_words(guint32 state) {
    PROPERTY_STATE_S bits;
    bits.all = state;
    const std::array<std::pair<guint32, const char*>, 7> words{
        {{guint32{bits.bit.override}, "overridden"},
         {guint32{bits.bit.modified}, "modified"},
         {guint32{bits.bit.static_saved}, "saved"},
         {guint32{bits.bit.synced}, "synced"},
         {guint32{bits.bit.acc_r}, "readable"},
         {guint32{bits.bit.acc_w}, "writable"},
         {guint32{bits.bit.acc_sync}, "sync"}}};
    std::vector<std::string> result;
    for (const auto& [is_set, word] : words) {
        if (is_set != 0) {
            result.emplace_back(word);
        }
    }
    return result;
}

const char* source_word(MoxHostSource kind) {
    switch (kind) {
        case MOXHOST_SOURCE_MEMORY:
            return "memory";
        case MOXHOST_SOURCE_HARDWARE:
            return "accessor";
        case MOXHOST_SOURCE_PROPERTY:
            return "property";
        case MOXHOST_SOURCE_FORMULA:
            return "formula";
    }
    return "unknown";
}

const char* persist_word(PER_MODE_E mode) {
    switch (mode) {
        case PER_MODE_RESET:
            return "reset";
        case PER_MODE_POWER_OFF:
            return "power-off";
        case PER_MODE_PERMANENT:
            return "permanent";
        case PER_MODE_NOSUPPORT:
        case PER_MODE_BUTT:
            break;
    }
    return "none";
}

bool is_reference(const MoxHostPropertyInfo& info) {
    return info.source_kind == MOXHOST_SOURCE_PROPERTY;
}

std::string source_words(const MoxHostPropertyInfo& info) {
    const std::string kind = source_word(info.source_kind);
    const bool has_text = info.source != nullptr && info.source[0] != '\0';
    if (is_reference(info) && !has_text) return "a reference that leads nowhere";
    return has_text ? kind + " " + info.source : kind;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// What is too long for a column, cut with a mark.
std::string cut(const std::string& text) {
    if (g_utf8_strlen(text.c_str(), -1) <= longest_shown) {
        return text;
    }
    const TextPtr start{g_utf8_substring(text.c_str(), 0, longest_shown - 3)};
    return std::string(start.get()) + "...";
}

std::vector<std::string> listeners_of(const MoxHostPropertyInfo& info) {
    std::vector<std::string> names;
    for (gchar** at = info.listeners; at != nullptr && *at != nullptr; ++at) {
        names.emplace_back(*at);
    }
    return names;
}

// A property with the value that was read for it.
struct ShownProperty {
    const MoxHostPropertyInfo& info;
    gint32 status = MOX_OK;
    VariantPtr value;

    ShownProperty(const std::string& object, const MoxHostPropertyInfo& listed)
        : info(listed), value(read_value({object, listed.name}, status)) {}
};

// The declared type; for a reference with the type of the value that it leads to.
std::string declared_type(const ShownProperty& property) {
    std::string declared = property.info.type;
    if (!is_reference(property.info)) return declared;
    return property.value ? declared + " (reference to " +
                                g_variant_get_type_string(property.value.get()) + ")"
                          : declared + " (reference)";
}

Cell value_cell(const ShownProperty& property) {
    if (!property.value) {
        return {std::string("unreadable: ") + mox_status_name(property.status), Style::bad};
    }
    return {cut(plain_text(property.value.get()))};
}

void print_properties(Output& out, const std::vector<ShownProperty>& properties) {
    Table table({{"PROPERTY"},
                 {"TYPE"},
                 {"VALUE"},
                 {"SOURCE"},
                 {"STATE"},
                 {"SAVED AS"},
                 {"EVENTS BY OWNER", Align::right},
                 {"LISTENERS"}});
    for (const ShownProperty& property : properties) {
        PROPERTY_STATE_S bits;
        bits.all = property.info.state;
        table.add({property.info.name,
                   declared_type(property),
                   value_cell(property),
                   cut(source_words(property.info)),
                   {joined(state_words(property.info.state)),
                    bits.bit.override != 0 ? Style::warning : Style::plain},
                   persist_word(property.info.persist),
                   std::to_string(property.info.events),
                   joined(listeners_of(property.info))});
    }
    table.print(out);
}

void write_property(JsonWriter& json, const ShownProperty& property) {
    json.begin_object();
    json.member("property", property.info.name);
    json.member("type", property.info.type);
    json.member("reference", is_reference(property.info));
    if (property.value) {
        json.member("value_type", g_variant_get_type_string(property.value.get()));
        json.member("value", exact_text(property.value.get()));
    } else {
        json.member_null("value_type");
        json.member_null("value");
        json.member("error", status_words(property.status));
    }
    json.member("source", source_word(property.info.source_kind));
    json.member("source_text", property.info.source == nullptr ? "" : property.info.source);
    json.member("state", state_words(property.info.state));
    json.member("state_bits", property.info.state);
    json.member("saved_as", persist_word(property.info.persist));
    json.member("size", property.info.size);
    json.member("capacity", property.info.capacity);
    json.member("events", property.info.events);
    json.member("listeners", listeners_of(property.info));
    json.end_object();
}

// The object's line in the list of all.
MoxHostObjectInfo object_named(const Membership& owner, const std::string& name) {
    for (const MoxHostObjectInfo& info : object_infos(owner)) {
        if (name == info.name) {
            return info;
        }
    }
    throw Failed("the object \"" + name + "\" has gone meanwhile");
}

void print_object(Output& out, const MoxHostObjectInfo& info) {
    Facts facts;
    facts.add("object", info.name);
    facts.add("class", info.class_name);
    facts.add("module", info.module);
    facts.add("position", std::to_string(info.position));
    facts.add("board", info.board);
    facts.add("pool", std::to_string(info.pool_bytes) + " bytes");
    facts.print(out);
    out.line();
}

void write_object(JsonWriter& json, const MoxHostObjectInfo& info,
                  const std::vector<ShownProperty>& properties) {
    json.begin_object();
    json.member("object", info.name);
    json.member("class", info.class_name);
    json.member("module", info.module);
    json.member("position", info.position);
    json.member("board", info.board);
    json.member("pool_bytes", info.pool_bytes);
    json.member("collection", info.is_collection != FALSE);
    json.name("properties");
    json.begin_array();
    for (const ShownProperty& property : properties) write_property(json, property);
    json.end_array();
    json.end_object();
}

void run_show(Call& call) {
    const Membership owner(call);
    if (wants_refresh != FALSE) refresh(owner);
    const std::string& name = call.arguments[0];
    const PropertyInfos infos = property_infos(owner, name);
    const MoxHostObjectInfo object = object_named(owner, name);
    std::vector<ShownProperty> properties;
    properties.reserve(infos.size());
    for (const MoxHostPropertyInfo& info : infos) properties.emplace_back(name, info);
    if (call.wants_json) {
        JsonWriter json;
        write_object(json, object, properties);
        json.print(call.out);
        return;
    }
    print_object(call.out, object);
    print_properties(call.out, properties);
}

}  // namespace

const Verb show_verb = {
    .name = "show",
    .arguments = "OBJECT",
    .summary = "show an object's properties: type, value, source, state, listeners, events",
    .description =
        "Shows an object and all its properties, each with its value, where the value comes\n"
        "from (memory, accessor NAME, property OBJECT.PROPERTY, formula TEXT), its state, how it\n"
        "is saved, how many events the owner has sent for it and who listens.\n\n"
        "Words of the state: overridden (forced), modified (changed since it was saved), saved\n"
        "(has a saved value), synced (memory is current), readable and writable (through the\n"
        "accessor), sync (a live read stores the value). Long texts are cut; moxctl get and\n"
        "--json give them whole. A value behind an accessor is the last one that the owner\n"
        "could read; --refresh has it read anew.",
    .example = "moxctl show Tank",
    .fewest = 1,
    .most = 1,
    .options = show_options,
    .run = run_show,
};

}  // namespace mox::tool
