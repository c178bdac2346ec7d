// A process that owns an empty pool and knows no class tree, and short words for building one.
#ifndef MOX_TEST_TREE_FIXTURE_HPP
#define MOX_TEST_TREE_FIXTURE_HPP

#include <classtree.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "captured_output.hpp"
#include "classtree/class_tree.hpp"
#include "pool_fixture.hpp"

namespace mox::test {

// A type field as builders pass it: 6 bytes, of which nothing behind the last may be read.
struct TypeField {
    explicit TypeField(const char* text) {
        std::memcpy(bytes, text, std::min(std::strlen(text), sizeof(bytes)));
    }
    operator const gchar*() const { return bytes; }

    gchar bytes[PUB_TYPE_LENGTH] = {};
};

// The 6 bytes of a field of a node, terminated or not.
inline std::string field_text(const gchar (&field)[PUB_TYPE_LENGTH]) {
    return {field, sizeof(field)};
}

inline std::string error_line(const std::string& text) {
    return std::string("[ ") + DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " + text;
}
inline std::string log_line(const std::string& text) {
    return std::string("[ ") + DebugLevel::module() + " ] " + text;
}

// What a body logs, without showing it; what it printed is shown when an assertion failed.
template <typename Body>
std::string logged_by(Body&& body) {
    CapturedSyslog log;
    const std::string printed = stdout_of(body);
    if (::testing::Test::HasFailure()) std::fputs(printed.c_str(), stdout);
    return log.text();
}

class TreeFixture : public PoolFixture {
protected:
    void SetUp() override {
        PoolFixture::SetUp();
        clt_set_tree_addr(nullptr);
    }
    void TearDown() override {
        clt_set_tree_addr(nullptr);
        PoolFixture::TearDown();
    }

    static DEFINED_CLASS_NODE_S& class_at(gsize index) { return g_class_tree->classes[index]; }
    static DEFINED_METHOD_NODE_S& method_at(gsize class_index, gsize method_index) {
        return class_at(class_index).method_array->method[method_index];
    }

    // One class "Fan" with room for properties and the methods "Start" and "Stop".
    static void make_fan(guint32 property_count = 0) {
        clt_create_class_tree(1);
        clt_init_class("Fan", 0, 3);
        clt_create_property(0, property_count);
        clt_create_method(0, 2);
        clt_init_method(0, 0, 1, "Start");
        clt_init_method(0, 1, 2, "Stop");
    }
};

}  // namespace mox::test

#endif
