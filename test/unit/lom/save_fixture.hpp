// The operations on saved values of one writable object, and the ways to them by reference.
#ifndef MOX_TEST_SAVE_FIXTURE_HPP
#define MOX_TEST_SAVE_FIXTURE_HPP

#include <lom/persist.h>

#include "write_fixture.hpp"

namespace mox::test {

// "Fan1" has "Speed" 1200, "Label" and "d:Level" 3, "Names" and "Marked" (marked types).
class SaveFixture : public WriteFixture {
protected:
    void SetUp() override {
        WriteFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200),
                                   text("Label", "left"),
                                   number<guint8>("d:Level", "y", 3),
                                   {"Marked", std::string("s\0\0o", 4), bytes_of_text("x")},
                                   {"Names", std::string("as\0o", 4), {'a', 0, 2}}}});
        set_writable("Fan1");
    }

    static gint32 save(const std::string& object, const std::string& property,
                       GVariant* value = nullptr, PER_MODE_E mode = PER_MODE_PERMANENT,
                       gboolean is_static = FALSE) {
        return lom_save_property_value(handle_of(object), property.c_str(), value, mode, FALSE,
                                       is_static);
    }

    static std::string printed_result(gint32 code, GVariant* value) {
        if (code != MOX_OK) return "code " + std::to_string(code);
        const std::string text = printed(value);
        g_variant_unref(value);
        return text;
    }

    // A saved value as text, or "code -2009".
    static std::string saved(const std::string& object, const std::string& property,
                             PER_MODE_E mode = PER_MODE_PERMANENT) {
        GVariant* value = nullptr;
        const gint32 code =
            lom_get_saved_value(handle_of(object), property.c_str(), &value, mode, FALSE);
        return printed_result(code, value);
    }

    static gint32 mark(const std::string& object, const std::string& property, gboolean is_static) {
        return lom_set_property_save_type(handle_of(object), property.c_str(), is_static);
    }
};

}  // namespace mox::test

#endif
