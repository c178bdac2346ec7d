// Use of the store: what it answers comes back as it is, and nothing is told or marked as saved
// that is not.
#include <lom.h>
#include <moxfake/persist.h>

#include "../unit/lom/write_fixture.hpp"
#include "whole_model.hpp"

namespace mox::test {
namespace {

std::size_t asked_so_far() {
    return fake::persist_calls().size();
}

// Nothing when the object could not be made.
std::optional<bool> is_marked_static(const std::string& object, const char* property) {
    if (record_of(object) == nullptr) return {};
    return property_of(object, property).state.bit.static_saved != 0;
}

// The answer of the n-th call of the store; nothing when there were not so many.
std::optional<gint32> answer(std::size_t n) {
    const auto calls = fake::persist_calls();
    return n < calls.size() ? std::optional(calls[n].code) : std::nullopt;
}

}  // namespace

void WholeModel::hands_on(const char* call, gint32 code, std::size_t asked) const {
    gint32 expected = PER_OK;
    const auto calls = fake::persist_calls();
    for (std::size_t at = asked; at < calls.size() && expected == PER_OK; ++at) {
        expected = calls[at].code;
    }
    EXPECT_TRUE(calls.size() == asked || code == expected)
        << call << " of model " << suffix_ << " gave " << code << ", the store " << expected;
}

void WholeModel::save_values() const {
    const OBJ_HANDLE fan = handle_of(named("Fan1"));
    save_statically();
    std::size_t asked = asked_so_far();
    const gint32 saved =
        lom_save_property_value(fan, "Label", nullptr, PER_MODE_POWER_OFF, FALSE, FALSE);
    gives("lom_save_property_value", saved, save_codes);
    hands_on("lom_save_property_value", saved, asked);
    asked = asked_so_far();
    gboolean is_saved = FALSE;
    const gint32 code =
        lom_is_property_value_saved(fan, "Label", PER_MODE_POWER_OFF, FALSE, &is_saved);
    gives("lom_is_property_value_saved", code, save_codes);
    hands_on("lom_is_property_value_saved", code, asked);
    EXPECT_EQ(is_saved != FALSE, saved >= PER_OK && code >= PER_OK);
    change_save_type();
    gives("lom_reset_property_status", lom_reset_property_status(named("Fan1").c_str(), "Label", 2),
          save_codes);
}

// The mark comes with a save that gave PER_OK, and stays when its record could not be made: it is
// set first.
void WholeModel::save_statically() const {
    const std::string name = named("Fan1");
    const OBJ_HANDLE fan = handle_of(name);
    const Value level = owned(g_variant_new_byte(4));
    std::size_t asked = asked_so_far();
    const gint32 saved =
        lom_save_property_value(fan, "d:Level", level.get(), PER_MODE_PERMANENT, FALSE, TRUE);
    gives("lom_save_property_value", saved, save_codes);
    const std::optional<gint32> kept = answer(asked);
    // A state that is new to the store is no news of the value.
    const bool is_new_state = answer(asked + 1) == std::optional<gint32>(PER_NEW_ITEM);
    EXPECT_TRUE(!is_new_state || saved == PER_OK) << saved;
    if (!is_new_state) hands_on("lom_save_property_value", saved, asked);
    if (const std::optional<bool> is_marked = is_marked_static(name, "d:Level")) {
        EXPECT_EQ(*is_marked, kept == std::optional<gint32>(PER_OK));
    }
    asked = asked_so_far();
    GVariant* value = nullptr;
    const gint32 code = lom_get_saved_value(fan, "d:Level", &value, PER_MODE_PERMANENT, FALSE);
    gives("lom_get_saved_value", code, save_codes);
    hands_on("lom_get_saved_value", code, asked);
    EXPECT_EQ(value != nullptr, code == MOX_OK);
    EXPECT_TRUE(value == nullptr || (kept.has_value() && *kept >= PER_OK)) << "nothing was kept";
    if (value == nullptr) return;
    EXPECT_EQ(g_variant_get_byte(value), 4);
    g_variant_unref(value);
}

// The mark changes whatever the store answers.
void WholeModel::change_save_type() const {
    const std::string name = named("Fan1");
    for (const bool is_static : {true, false}) {
        const std::size_t asked = asked_so_far();
        const gint32 code =
            lom_set_property_save_type(handle_of(name), "Label", is_static ? TRUE : FALSE);
        gives("lom_set_property_save_type", code, save_codes);
        hands_on("lom_set_property_save_type", code, asked);
        if (const std::optional<bool> is_marked = is_marked_static(name, "Label")) {
            EXPECT_EQ(*is_marked, is_static);
        }
    }
}

}  // namespace mox::test
