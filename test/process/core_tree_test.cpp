// The class tree in another process: read through the owner's address, link by link and field by
// field, and searched by the library there.
#include <classtree.h>
#include <shmem.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core_model.hpp"

namespace mox::test {
namespace {

using SharedTree = ProcessTest;

// A type field as builders pass it.
struct TypeField {
    explicit TypeField(const char* text) { g_strlcpy(bytes, text, sizeof(bytes)); }
    gchar bytes[PUB_TYPE_LENGTH] = {};
};

constexpr guint32 kTimeout = 3000;

void make_methods_of_fan() {
    clt_create_method(1, 2);
    clt_init_method(1, 0, 21, "Start");
    clt_init_method(1, 1, 22, "Turn");
    clt_create_method_para(1, 1, INPUT_PARA, 2);
    clt_init_method_para(1, 1, INPUT_PARA, 0, TypeField("u").bytes);
    clt_init_method_para(1, 1, INPUT_PARA, 1, "aaaaay");
    clt_create_method_para(1, 1, OUTPUT_PARA, 1);
    clt_init_method_para(1, 1, OUTPUT_PARA, 0, TypeField("as").bytes);
    clt_create_method_property(1, 1, 2);
    guint32 timeout = kTimeout;
    clt_init_method_property(1, 1, 0, "Timeout", "u", sizeof(timeout), &timeout);
    gchar hint[] = "mind your hands";
    clt_init_method_property(1, 1, 1, "Hint", "s", sizeof(hint), hint);
}

// Device, and below it Fan (with FastFan below that) and Disk, as a profile's loader makes them.
DEFINED_CLASS_ARRAY_S* make_tree() {
    clt_create_class_tree(4);
    const std::array<const char*, 4> names = {"Device", "Fan", "FastFan", "Disk"};
    for (guint32 index = 0; index < names.size(); ++index) {
        EXPECT_NE(clt_init_class(names[index], index, static_cast<guint16>(100 + index)), nullptr);
    }
    clt_create_property(1, 2);
    clt_init_property(1, 0, 11, "Speed", TypeField("u").bytes, 1, 0);
    clt_init_property(1, 1, 12, "Partner", "s\0\0p\0", 0, 2);
    make_methods_of_fan();
    clt_create_property(3, 0);
    auto* const tree = static_cast<DEFINED_CLASS_ARRAY_S*>(clt_get_class_tree_addr());
    tree->classes[0].children = &tree->classes[1];
    tree->classes[1].children = &tree->classes[2];
    tree->classes[1].next = &tree->classes[3];
    return tree;
}

// ---- every field of the tree as text, pointers with where they lead

std::string bytes_text(const void* bytes, gsize size) {
    std::string text;
    for (gsize i = 0; i < size; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), "%02x", static_cast<const guint8*>(bytes)[i]);
        text += digits;
    }
    return text;
}

// An address that must be the pool's, or null.
std::string address_text(const void* address) {
    EXPECT_TRUE(address == nullptr || is_in_pool(address)) << address;
    char text[32];
    std::snprintf(text, sizeof(text), "%p", address);
    return text;
}

std::string name_text(const gchar* name) {
    return address_text(name) + " '" + (name == nullptr ? "" : name) + "'";
}

std::string properties_text(const DEFINED_PROPERTY_ARRAY_S* array) {
    std::string text = "  properties " + address_text(array) + "\n";
    for (gsize i = 0; array != nullptr && i < array->size; ++i) {
        const DEFINED_PROPERTY_NODE_S& node = array->property[i];
        text += "    " + name_text(node.name) + " type " + bytes_text(node.type, 6) + " id " +
                std::to_string(node.id) + " exported " + std::to_string(node.exported) + " key " +
                std::to_string(node.key) + "\n";
    }
    return text;
}

std::string parameters_text(const DEFINED_METHOD_PARA_ARRAY_S* array) {
    std::string text = "      parameters " + address_text(array);
    for (gsize i = 0; array != nullptr && i < array->size; ++i) {
        text += " " + bytes_text(array->para[i].type, 6);
    }
    return text + "\n";
}

std::string method_text(const DEFINED_METHOD_NODE_S& node) {
    std::string text = "    " + name_text(node.name) + " id " + std::to_string(node.id) + "\n" +
                       parameters_text(node.para[INPUT_PARA]) +
                       parameters_text(node.para[OUTPUT_PARA]) + "      constants " +
                       address_text(node.property_arr) + "\n";
    for (gsize i = 0; node.property_arr != nullptr && i < node.property_arr->count; ++i) {
        const METHOD_PROPERTY_NODE_S& constant = node.property_arr->property[i];
        text += "        " + name_text(constant.name) + " type " + bytes_text(constant.type, 6) +
                " " + address_text(constant.data) + " " + bytes_text(constant.data, constant.size) +
                "\n";
    }
    return text;
}

std::string tree_text(const DEFINED_CLASS_ARRAY_S* tree) {
    std::string text = "tree " + address_text(tree) + " " + std::to_string(tree->size) + "\n";
    for (gsize i = 0; i < tree->size; ++i) {
        const DEFINED_CLASS_NODE_S& node = tree->classes[i];
        text += name_text(node.name) + " id " + std::to_string(node.id) + " children " +
                address_text(node.children) + " next " + address_text(node.next) + "\n" +
                properties_text(node.property_array) + "  methods " +
                address_text(node.method_array) + "\n";
        for (gsize m = 0; node.method_array != nullptr && m < node.method_array->size; ++m) {
            text += method_text(node.method_array->method[m]);
        }
    }
    return text;
}

// A text of any process, as one word of a channel.
using TextWord = std::array<char, 8192>;

TextWord word_of(const std::string& text) {
    TextWord word = {};
    EXPECT_LT(text.size(), word.size());
    g_strlcpy(word.data(), text.c_str(), word.size());
    return word;
}

// A member that attaches the owner's pool, installs its tree and reads it.
Role tree_reader(const std::function<void(Channel& test)>& body) {
    return Role{"reader", [body](Channel& test) {
                    auto* const address = test.hear<gpointer>();
                    attach_pool();
                    EXPECT_EQ(clt_get_class_tree_addr(), nullptr);
                    EXPECT_EQ(clt_get_class_by_id(100), nullptr);
                    clt_set_tree_addr(address);
                    body(test);
                }};
}

TEST_F(SharedTree, HasTheSameFieldsAtTheSamePlacesInAnotherProcess) {
    Role member = tree_reader([](Channel& test) {
        const auto* tree = static_cast<const DEFINED_CLASS_ARRAY_S*>(clt_get_class_tree_addr());
        const std::string text = tree_text(tree);
        std::printf("in the other process:\n%s", text.c_str());
        test.tell(word_of(text));
    });
    const PoolOwner owner;
    const std::string text = tree_text(make_tree());
    std::printf("in the owner:\n%s", text.c_str());
    member.tell(clt_get_class_tree_addr());
    const auto seen = member.hear<TextWord>();
    member.finish();
    EXPECT_EQ(text, seen.data());
}

TEST_F(SharedTree, ShowsClassesAndPropertiesAsTheyWereBuilt) {
    Role member = tree_reader([](Channel&) {
        gint32 count = 0;
        DEFINED_CLASS_NODE_S* node = nullptr;
        clt_get_class_tree(&count, &node);
        ASSERT_EQ(count, 4);
        EXPECT_STREQ(node[0].name, "Device");
        EXPECT_EQ(node[0].id, 100U);
        EXPECT_EQ(node[0].children, &node[1]);
        EXPECT_EQ(node[1].next, &node[3]);
        EXPECT_EQ(node[1].children, &node[2]);
        EXPECT_EQ(node[3].next, nullptr);
        ASSERT_EQ(node[1].property_array->size, 2U);
        const DEFINED_PROPERTY_NODE_S* property = node[1].property_array->property;
        EXPECT_STREQ(property[0].name, "Speed");
        EXPECT_EQ(bytes_text(property[0].type, 6), "750000000000");
        EXPECT_EQ(property[0].exported, 1U);
        EXPECT_STREQ(property[1].name, "Partner");
        EXPECT_EQ(bytes_text(property[1].type, 6), "730000700000");
        EXPECT_EQ(property[1].id, 12U);
        EXPECT_EQ(property[1].key, 2U);
    });
    const PoolOwner owner;
    make_tree();
    member.tell(clt_get_class_tree_addr());
    member.finish();
}

TEST_F(SharedTree, ShowsMethodsWithParametersAndConstantsAsTheyWereBuilt) {
    Role member = tree_reader([](Channel&) {
        const DEFINED_METHOD_NODE_S* turn = clt_get_method_by_id(clt_get_class_by_id(101), 22);
        ASSERT_TRUE(is_in_pool(turn));
        EXPECT_STREQ(turn->name, "Turn");
        ASSERT_EQ(turn->para[INPUT_PARA]->size, 2U);
        EXPECT_EQ(bytes_text(turn->para[INPUT_PARA]->para, 12), "750000000000616161616179")
            << "the parameters lie side by side";
        EXPECT_EQ(bytes_text(turn->para[OUTPUT_PARA]->para[0].type, 6), "617300000000");
        ASSERT_EQ(turn->property_arr->count, 2U);
        const METHOD_PROPERTY_NODE_S& timeout = turn->property_arr->property[0];
        EXPECT_STREQ(timeout.name, "Timeout");
        EXPECT_STREQ(timeout.type, "u");
        ASSERT_EQ(timeout.size, sizeof(kTimeout));
        EXPECT_EQ(std::memcmp(timeout.data, &kTimeout, sizeof(kTimeout)), 0);
    });
    const PoolOwner owner;
    make_tree();
    member.tell(clt_get_class_tree_addr());
    member.finish();
}

TEST_F(SharedTree, IsSearchedInAnotherProcess) {
    Role member = tree_reader([](Channel&) {
        EXPECT_STREQ(clt_get_property_by_id(clt_get_class_by_id(101), 11)->name, "Speed");
        guint32 count = 9;
        DEFINED_PROPERTY_NODE_S* property = nullptr;
        EXPECT_EQ(clt_get_property_by_class("Disk", &count, &property), 0);
        EXPECT_EQ(count, 0U);
        GSList* types = nullptr;
        ASSERT_EQ(clt_get_paralist("Fan", "Turn", INPUT_PARA, &types), 0);
        ASSERT_EQ(g_slist_length(types), 2U);
        EXPECT_TRUE(g_variant_type_equal(types->data, G_VARIANT_TYPE("u")));
        EXPECT_TRUE(g_variant_type_equal(types->next->data, G_VARIANT_TYPE("aaaaay")));
        g_slist_free_full(
            types, [](gpointer type) { g_variant_type_free(static_cast<GVariantType*>(type)); });
        GVariant* value = nullptr;
        ASSERT_EQ(clt_get_method_property("Fan", "Turn", "Hint", &value), 0);
        EXPECT_TRUE(is_in_pool(g_variant_get_data(value)));
        EXPECT_STREQ(g_variant_get_string(value, nullptr), "mind your hands");
        g_variant_unref(value);
    });
    const PoolOwner owner;
    make_tree();
    member.tell(clt_get_class_tree_addr());
    member.finish();
}

TEST_F(SharedTree, GivesTheClassesBelowAClassInAnotherProcess) {
    Role member = tree_reader([](Channel&) {
        GSList* names = nullptr;
        ASSERT_EQ(clt_get_all_children("Device", &names), 0);
        std::vector<std::string> seen;
        for (const GSList* item = names; item != nullptr; item = item->next) {
            EXPECT_TRUE(is_in_pool(item->data));
            seen.emplace_back(static_cast<const gchar*>(item->data));
        }
        g_slist_free(names);
        EXPECT_EQ(seen, (std::vector<std::string>{"Device", "Disk", "Fan", "FastFan"}));
    });
    const PoolOwner owner;
    make_tree();
    member.tell(clt_get_class_tree_addr());
    member.finish();
}

TEST_F(SharedTree, IsNotChangedByAnotherProcess) {
    Role member = tree_reader([](Channel&) {
        clt_create_class_tree(1);
        EXPECT_EQ(clt_init_class("Other", 1, 1), nullptr);
        clt_create_property(1, 1);
        clt_init_property(1, 0, 1, "Other", TypeField("x").bytes, 9, 9);
        clt_create_method(1, 1);
        clt_create_method_para(1, 1, INPUT_PARA, 9);
    });
    const PoolOwner owner;
    const DEFINED_CLASS_ARRAY_S* tree = make_tree();
    const std::string before = tree_text(tree);
    member.tell(clt_get_class_tree_addr());
    member.finish();
    EXPECT_EQ(tree_text(tree), before);
}

}  // namespace
}  // namespace mox::test
