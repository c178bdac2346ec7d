// Writing values, and what a write leaves behind beside the value: the bits that it set, what it
// asked of the process that can enlarge a record, and what it handed to the store.
//
//   EXPECT_EQ(write("Fan1", "Speed", g_variant_new_uint32(3)), 0);
//   EXPECT_EQ(state_of("Fan1", "Speed"), "modified synced");
//   EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Speed u:03000000 mode 2"});
//   RemoteSet remote;                  the hook for values that outgrew their room
//   EXPECT_EQ(remote.calls(), Texts{"Fan1.Label = 'longer'"});
//
// Bits other than the four that writes may change must stay: state_of names those that did not.
#ifndef MOX_TEST_WRITE_FIXTURE_HPP
#define MOX_TEST_WRITE_FIXTURE_HPP

#include <functional>
#include <memory>

#include "value_fixture.hpp"

namespace mox::test {

struct UnrefValue {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using Value = std::unique_ptr<GVariant, UnrefValue>;

// A value that is freed at the end of its scope.
inline Value owned(GVariant* floating) {
    return Value(g_variant_ref_sink(floating));
}

// A value over bytes that nobody vouches for.
inline Value untrusted(const char* type, const std::vector<guint8>& bytes) {
    GBytes* const copy = g_bytes_new(bytes.data(), bytes.size());
    Value value = owned(g_variant_new_from_bytes(G_VARIANT_TYPE(type), copy, FALSE));
    g_bytes_unref(copy);
    return value;
}

inline GVariant* texts_value(const std::vector<const char*>& texts) {
    return g_variant_new_strv(texts.data(), static_cast<gssize>(texts.size()));
}

inline GVariant* bytes_value(const std::vector<guint8>& bytes) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
}

inline gint32 write(const std::string& object, const std::string& property, GVariant* floating,
                    PER_MODE_E mode = PER_MODE_NOSUPPORT, gboolean is_static = FALSE) {
    const Value value = owned(floating);
    return lom_set_property_value(handle_of(object), property.c_str(), value.get(), mode,
                                  is_static);
}

inline gint32 override_with(const std::string& object, const std::string& property,
                            GVariant* floating, gboolean* modified = nullptr) {
    const Value value = owned(floating);
    return lom_override_property_value(handle_of(object), property.c_str(), value.get(),
                                       PROPERTY_OVERRIDE, modified);
}

inline gint32 cancel_override(const std::string& object, const std::string& property) {
    return lom_override_property_value(handle_of(object), property.c_str(), nullptr,
                                       PROPERTY_CANCEL_OVERRIDE, nullptr);
}

inline std::string state_of(const std::string& object, const std::string& property,
                            guint32 other_bits = 0x70) {
    const PROPERTY_STATE_S state = property_of(object, property).state;
    std::string text;
    if (state.bit.modified) text += " modified";
    if (state.bit.static_saved) text += " static";
    if (state.bit.override) text += " override";
    if (state.bit.synced) text += " synced";
    if ((state.all & ~15U) != other_bits) {
        text += " others:" + std::to_string(state.all & ~15U);
    }
    return text.empty() ? "" : text.substr(1);
}

// The hook for values that outgrew their room, installed while the scope lives; one at a time.
class RemoteSet {
public:
    // action: what else the hook does, before it gives the code.
    explicit RemoteSet(gint32 code = 0, std::function<void()> action = {})
        : code_(code), action_(std::move(action)) {
        current = this;
        lom_set_modify_func(call);
    }
    ~RemoteSet() {
        lom_set_modify_func(nullptr);
        EXPECT_EQ(semaphores_held_, 0U) << "the hook was called with a semaphore held";
        current = nullptr;
    }
    RemoteSet(const RemoteSet&) = delete;
    RemoteSet& operator=(const RemoteSet&) = delete;

    const Texts& calls() const { return calls_; }

private:
    static gint32 call(const gchar* object, const gchar* property, GVariant* value) {
        RemoteSet& self = *current;
        self.calls_.push_back(std::string(object) + "." + property + " = " + printed(value));
        self.semaphores_held_ += fake::osal::held();
        if (self.action_) self.action_();
        return self.code_;
    }

    inline static RemoteSet* current = nullptr;
    gint32 code_;
    std::function<void()> action_;
    Texts calls_;
    gsize semaphores_held_ = 0;
};

// "Fan1" is writable; queue 7 listens to its numbers, queue 8 to its texts.
class WriteFixture : public ValueFixture {
protected:
    // Chains of very many links need a larger pool than other tests.
    static constexpr gsize kLargePoolSize = 64U << 20;

    void SetUp() override {
        ValueFixture::SetUp();
        g_dlmalloc_space = shm_creat_space(this, kLargePoolSize, 1);
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200),
                                   text("Label", "left"),
                                   number<guint64>("Serial", "t", 5),
                                   {"Pair", "(ss)", std::vector<guint8>(8, 0)}}});
        set_writable("Fan1");
        listen("Fan", "Speed", 7);
        listen("Fan", "Label", 8);
    }

    static GVariant* speed(guint32 value) { return g_variant_new_uint32(value); }
    static GVariant* label(const std::string& value) { return g_variant_new_string(value.c_str()); }
    static GVariant* pair() { return g_variant_new("(ss)", "long enough", "to outgrow its room"); }

    // A property that names another's in an object of its own, which queue 9 listens to.
    static void add_view(const std::string& target, OBJECT_CAPABILITY rights = OBJECT_READ_WRITE) {
        add_object(
            {.name = "View", .class_name = "Look", .properties = {reference("Twin", target)}});
        lom_set_writable(handle_of("View"), rights);
        listen("Look", "Twin", 9);
    }

    // One writable object "L" whose properties N0, N1, ... each name the next one; the last names
    // `end`.
    static void add_links(guint count, const std::string& end) {
        ObjectPlan plan{.name = "L", .class_name = "Link"};
        for (guint index = 0; index < count; ++index) {
            const std::string next = "L.N" + std::to_string(index + 1);
            plan.properties.push_back(
                reference("N" + std::to_string(index), index + 1 == count ? end : next));
        }
        ASSERT_NE(add_object(plan), 0) << "no room for the links";
        set_writable("L");
    }
};

// How many links a chain must have to overflow the stack of whoever follows it by recursion.
inline constexpr guint kVeryManyLinks = 100000;

}  // namespace mox::test

#endif
