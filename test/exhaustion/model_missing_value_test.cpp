// A property for whose first value the pool had no room.
#include <lom.h>

#include "../unit/lom/write_fixture.hpp"

namespace mox::test {
namespace {

gint32 enlarge(const gchar* object, const gchar* property, GVariant* value) {
    return lom_realloc_property(object, property, g_variant_get_type_string(value),
                                static_cast<guint32>(g_variant_get_size(value)),
                                g_variant_get_data(value));
}

class ValueWithoutRoom : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        OBJECT_HEAD_S* const embryo = make_embryo({.name = "Fan1"});
        ASSERT_NE(embryo, nullptr);
        publish_object(embryo);
        OBJECT_PTR const other = lom_create_object_embryo(1, "Fan2", "Fan", "", "Logical", 0);
        const std::vector<guint8> bytes = {'a', 0, 2};
        const CONST_TLV_S names = package_of("as", bytes);
        fake::space::fail_allocation(1);
        stdout_of([&] { lom_init_property(other, 0, "Names", &names, "rw"); });
        lom_add_object(other);
        lom_ready_object(other);
        set_writable("Fan2");
    }
};

TEST_F(ValueWithoutRoom, IsNotReadAsAValueOfZeros) {
    EXPECT_EQ(stored_value("Fan2", "Names"), "code -2000");
    EXPECT_EQ(live_value("Fan2", "Names"), "code -2000");
}

TEST_F(ValueWithoutRoom, IsReadOnceAValueWasWritten) {
    lom_set_modify_func(enlarge);
    EXPECT_EQ(write("Fan2", "Names", texts_value({"one", "two"})), 0);
    EXPECT_EQ(stored_value("Fan2", "Names"), "['one', 'two']");
}

}  // namespace
}  // namespace mox::test
