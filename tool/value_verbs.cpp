// get, set, override and cancel: values of single properties.
#include <moxplat/driver.h>
#include <moxplat/persist_store.h>

#include "json_writer.hpp"
#include "model_reads.hpp"
#include "table.hpp"
#include "value_text.hpp"
#include "verb_table.hpp"

namespace mox::tool {
namespace {

gboolean wants_refresh = FALSE;

constexpr GOptionEntry get_options[] = {{"refresh", 0, 0, G_OPTION_ARG_NONE, &wants_refresh,
                                         "have the owner read all its hardware first", nullptr},
                                        {}};

void write_value(JsonWriter& json, const Place& place, GVariant* value) {
    json.begin_object();
    json.member("object", place.object);
    json.member("property", place.property);
    add_value(json, value);
    json.end_object();
}

std::vector<VariantPtr> read_all(const std::string& object,
                                 const std::vector<std::string>& properties) {
    if (properties.size() > 1) {
        return read_together(object, properties);
    }
    std::vector<VariantPtr> values;
    values.push_back(read_value({object, properties[0]}));
    return values;
}

void print_values(Output& out, const std::vector<std::string>& properties,
                  const std::vector<VariantPtr>& values) {
    if (values.size() == 1) {
        out.line(plain_text(values[0].get()));
        return;
    }
    Table table({{"PROPERTY"}, {"VALUE"}});
    for (std::size_t at = 0; at < values.size(); ++at) {
        table.add({properties[at], plain_text(values[at].get())});
    }
    table.print(out);
}

void run_get(Call& call) {
    const Membership owner(call);
    const std::string& object = call.arguments[0];
    const std::vector<std::string> properties(call.arguments.begin() + 1, call.arguments.end());
    const PropertyInfos infos = property_infos(owner, object);
    for (const std::string& property : properties) {
        const Place place{object, property};
        // One that leads nowhere is told as such.
        if (property_named(infos, place).source_kind == MOXHOST_SOURCE_PROPERTY) {
            follow(owner, place);
        }
    }
    if (wants_refresh != FALSE) refresh(owner);
    const std::vector<VariantPtr> values = read_all(object, properties);
    if (!call.wants_json) {
        print_values(call.out, properties, values);
        return;
    }
    JsonWriter json;
    json.begin_array();
    for (std::size_t at = 0; at < values.size(); ++at) {
        write_value(json, {object, properties[at]}, values[at].get());
    }
    json.end_array();
    json.print(call.out);
}

// A value before or after a change; "?" where there is none to read.
struct Reading {
    VariantPtr value;
    bool is_overridden = false;

    std::string text() const {
        const std::string plain = value ? plain_text(value.get()) : "?";
        return is_overridden ? plain + " (overridden)" : plain;
    }
};

Reading read_now(const Target& target) {
    gint32 status = MOX_OK;
    return {read_value(target.place, status), target.is_overridden};
}

bool is_of_driver(gint32 status) {
    return status <= DRIVER_ERR_BAD_ARGUMENT && status >= DRIVER_ERR_REFUSED;
}

[[noreturn]] void fail_write(const ErrorHolder& error, const Target& target) {
    const std::string name = target.place.name();
    const gint32 status = error.status();
    if (status == MOX_OK) {
        throw Failed(error.text());
    }
    if (status >= PER_ERROR_PARA_0_INVALID && status <= PER_ERROR_CLEAR_CFG_FLAG) {
        throw Failed(name + " has the value, but it is not saved: " + status_words(status));
    }
    if (is_of_driver(status)) {
        throw Failed(name + " has the value, but the hardware has not: " + status_words(status));
    }
    std::string cure;
    if (status == MOX_ERR_OVERRIDDEN) {
        cure = ": moxctl cancel " + target.place.object + " " + target.place.property;
    } else if (status == MOX_ERR_OBJECT_NOT_FOUND) {
        cure = ": only objects of the profile can be written, not collections";
    }
    throw Failed(name + " is not written: " + status_words(status) + cure);
}

// The override may have ended all the same: then it is the read of the true value that failed.
[[noreturn]] void fail_cancel(const ErrorHolder& error, const Membership& owner,
                              const Target& target) {
    const std::string name = target.place.name();
    if (error.is(MOXHOST_ERROR, MOXHOST_ERROR_STATE)) {
        throw Failed(name + " is not overridden; there is nothing to cancel");
    }
    const gint32 status = error.status();
    if (status == MOX_OK || follow(owner, target.place).is_overridden) {
        fail_write(error, target);
    }
    throw Failed(name + ": the override has ended, but " +
                 (is_of_driver(status) ? "the hardware cannot be read: "
                                       : "the value behind it cannot be had: ") +
                 status_words(status) + "; the forced value stays until it can");
}

void report(Call& call, const Place& place, const Target& target, const Reading& before,
            const Reading& after) {
    if (!call.wants_json) {
        const bool is_reference = place.name() != target.place.name();
        call.out.line(shown(place.name()) +
                      (is_reference ? " (" + shown(target.place.name()) + ")" : "") + ": " +
                      before.text() + " -> " + after.text());
        return;
    }
    JsonWriter json;
    json.begin_object();
    json.member("object", target.place.object);
    json.member("property", target.place.property);
    json.member("type", target.type);
    for (const auto& [name, reading] : {std::pair{"before", &before}, {"after", &after}}) {
        if (reading->value) {
            json.member(name, exact_text(reading->value.get()));
        } else {
            json.member_null(name);
        }
    }
    json.member("overridden", after.is_overridden);
    json.end_object();
    json.print(call.out);
}

using WriteFunc = gboolean (*)(MoxHostModule* module, const gchar* object, const gchar* property,
                               GVariant* value, GError** error);

void write(Call& call, WriteFunc write_func) {
    const Membership owner(call);
    const Place place{call.arguments[0], call.arguments[1]};
    const Target target = follow(owner, place);
    const VariantPtr value = value_of_text(call.arguments[2], target.type, place.name());
    const Reading before = read_now(target);
    ErrorHolder error;
    if (write_func(owner.module(), place.object.c_str(), place.property.c_str(), value.get(),
                   error.out()) == FALSE) {
        fail_write(error, target);
    }
    const Target now = follow(owner, place);
    report(call, place, now, before, read_now(now));
}

void run_set(Call& call) {
    write(call, moxhost_operator_set);
}

void run_override(Call& call) {
    write(call, moxhost_operator_override);
}

void run_cancel(Call& call) {
    const Membership owner(call);
    const Place place{call.arguments[0], call.arguments[1]};
    const Target target = follow(owner, place);
    const Reading before = read_now(target);
    ErrorHolder error;
    if (moxhost_operator_cancel(owner.module(), place.object.c_str(), place.property.c_str(),
                                error.out()) == FALSE) {
        fail_cancel(error, owner, target);
    }
    const Target now = follow(owner, place);
    report(call, place, now, before, read_now(now));
}

#define MOX_VALUE_HELP                                                                       \
    "VALUE is GVariant text for the property's type: 95 for every type of numbers, true,\n"  \
    "'text', [1, 2]. For a property of type s, a text that is no GVariant text stands for\n" \
    "itself, without quotes, unless it begins with a quotation mark. Prints the value\n"     \
    "before and after. A reference is written at the property that it leads to."

}  // namespace

const Verb get_verb = {
    .name = "get",
    .arguments = "OBJECT PROPERTY...",
    .summary = "print values of an object's properties; several are one consistent read",
    .description =
        "Prints the value of a property, alone on a line, in GVariant text. With several\n"
        "properties, prints a table of what they were at one and the same moment; what\n"
        "references and formulas give is asked right behind it. A value behind an accessor is\n"
        "the last one that the owner could read; --refresh has it read anew.",
    .example = "moxctl get Tank Level\nmoxctl get Tank Level Label --json",
    .fewest = 2,
    .most = any_number,
    .options = get_options,
    .run = run_get,
};

const Verb set_verb = {
    .name = "set",
    .arguments = "OBJECT PROPERTY VALUE",
    .summary = "write a property, through its accessor too when that may be written",
    .description =
        "Has the owner write a property of any object, and save it as the profile "
        "says.\n\n" MOX_VALUE_HELP,
    .example = "moxctl set Tank Level 95\nmoxctl set Tank Label 'main tank'",
    .fewest = 3,
    .most = 3,
    .takes_value = true,
    .run = run_set,
};

const Verb override_verb = {
    .name = "override",
    .arguments = "OBJECT PROPERTY VALUE",
    .summary = "force a property's value until it is cancelled",
    .description =
        "Has the owner force a property's value: every read shows it, and writes are refused\n"
        "until moxctl cancel ends it. A forced value is not saved.\n\n" MOX_VALUE_HELP,
    .example = "moxctl override Tank Level -5",
    .fewest = 3,
    .most = 3,
    .takes_value = true,
    .run = run_override,
};

const Verb cancel_verb = {
    .name = "cancel",
    .arguments = "OBJECT PROPERTY",
    .summary = "end an override",
    .description =
        "Has the owner end the override of a property, for a reference that of the property\n"
        "that it leads to. A property with hardware has the hardware's value again at once. A\n"
        "formula keeps the forced value until one of its inputs changes, plain memory until\n"
        "the next write.",
    .example = "moxctl cancel Tank Level",
    .fewest = 2,
    .most = 2,
    .run = run_cancel,
};

}  // namespace mox::tool
