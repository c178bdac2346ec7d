// Registering physical objects: again and again, changed, removed, listed, and from several threads
// at once.
#include <atomic>
#include <thread>

#include "driver_fixture.hpp"

namespace mox::test {
namespace {

std::string dumped() {
    char* text_of_dump = nullptr;
    std::size_t size = 0;
    FILE* stream = open_memstream(&text_of_dump, &size);
    dump_physical_object(stream);
    std::fclose(stream);
    std::string result{text_of_dump, size};
    std::free(text_of_dump);
    return result;
}

std::size_t count(const std::string& text_to_search, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text_to_search.find(part); at != std::string::npos;
         at = text_to_search.find(part, at + part.size())) {
        ++found;
    }
    return found;
}

class PhysicalObjects : public DriverTest {
protected:
    void register_value(const std::string& content) const {
        register_on_content(content, {text("Kind", "attribute"), text("Type", "u")});
    }
};

TEST(HasProperty, TakesOverAFloatingValue) {
    GVariant* value =
        g_variant_ref(g_variant_new_int32(5));  // still floating, one reference for the test
    OBJ_PROPERTY_S* property = create_has_property("Offset", value);
    ASSERT_NE(property, nullptr);
    EXPECT_STREQ(property->name, "Offset");
    EXPECT_EQ(property->value, value);
    EXPECT_FALSE(g_variant_is_floating(value));
    free_has_property(property);
    EXPECT_EQ(g_variant_get_int32(value), 5);
    g_variant_unref(value);
}

TEST(HasProperty, TakesOverAFullReference) {
    int freed = 0;
    const gint32 bytes = 5;
    GVariant* value = g_variant_ref_sink(g_variant_new_from_data(
        G_VARIANT_TYPE_INT32, &bytes, sizeof bytes, TRUE,
        [](gpointer flag) { ++*static_cast<int*>(flag); }, &freed));
    OBJ_PROPERTY_S* property = create_has_property("Offset", value);
    ASSERT_NE(property, nullptr);
    EXPECT_EQ(freed, 0);
    free_has_property(property);
    EXPECT_EQ(freed, 1);
}

TEST(HasProperty, CopiesItsName) {
    std::string name = "Offset";
    OBJ_PROPERTY_S* property = create_has_property(name.c_str(), g_variant_new_int32(5));
    name[0] = 'X';
    EXPECT_STREQ(property->name, "Offset");
    free_has_property(property);
}

TEST(HasProperty, LeavesTheValueAloneWhenItIsRefused) {
    GVariant* value = g_variant_new_int32(5);
    EXPECT_EQ(create_has_property(nullptr, value), nullptr);
    EXPECT_EQ(create_has_property("", value), nullptr);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
    EXPECT_EQ(create_has_property("Offset", nullptr), nullptr);
}

TEST(HasProperty, OfNullIsFreedWithoutHarm) {
    free_has_property(nullptr);
}

TEST_F(PhysicalObjects, AreKeptWhenTheTableAndItsValuesAreGone) {
    register_value("5\n");
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST_F(PhysicalObjects, ComeInOneTableInAnyOrder) {
    ObjectTable table;
    table.add("Accessor", "A", position,
              {text("Chip", "C"), text("Kind", "attribute"), text("Type", "u")});
    table.add("Bus", "B", position, {text("NodeBusy", "C")});
    table.add("Chip", "C", position, {text("Path", write_file("value", "5\n"))});
    create_physical_object(table.get());
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST_F(PhysicalObjects, AreThereOnceHoweverOftenTheyCome) {
    for (int i = 0; i < 100; ++i) register_value("5\n");
    EXPECT_EQ(count(dumped(), "physical object "), 2U);
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST_F(PhysicalObjects, FollowAChange) {
    register_value("5\n");
    register_chip("C", write_file("other", "6\n"));
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(6));
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "y")});
    EXPECT_EQ(read_whole<guint8>("A"), value_of<guint8>(6));
}

TEST_F(PhysicalObjects, FollowAChangeBackAndForth) {
    const std::string one = write_file("one", "1\n");
    const std::string two = write_file("two", "2\n");
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    for (int i = 0; i < 10; ++i) {
        register_chip("C", one);
        ASSERT_EQ(read_whole<guint32>("A"), value_of<guint32>(1));
        register_chip("C", two);
        ASSERT_EQ(read_whole<guint32>("A"), value_of<guint32>(2));
    }
}

TEST_F(PhysicalObjects, LoseAPropertyThatIsNoLongerGiven) {
    // The first property stands last in the list, where only the list's end tells that it is gone.
    register_on_content("16\n",
                        {text("Format", "hex"), text("Kind", "attribute"), text("Type", "u")});
    ASSERT_EQ(read_whole<guint32>("A"), value_of<guint32>(22));
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(16));
}

TEST_F(PhysicalObjects, ThatBecomeUnusableAreNotUsedAsTheyWere) {
    register_value("5\n");
    register_accessor("A", "C", {text("Kind", "nonsense"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_BAD_ACCESSOR);
    register_value("5\n");
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST_F(PhysicalObjects, TakeThePlaceOfANamesakeOfAnotherClass) {
    register_value("5\n");
    register_object("FineAccessor", "A", position,
                    {text("Chip", "C"), text("Kind", "attribute"), text("Type", "y")});
    EXPECT_EQ(read_whole<guint8>("A"), value_of<guint8>(5));
    EXPECT_EQ(count(dumped(), "physical object "), 2U);
}

TEST_F(PhysicalObjects, AreFoundByTheirObjectNameWhateverDotsTheKeyHas) {
    register_chip("C", write_file("value", "5\n"));
    register_object("Vendor.Accessor", "A.1", position,
                    {text("Chip", "C"), text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A.1"), value_of<guint32>(5));
}

TEST_F(PhysicalObjects, HaveTheFourLeadingEntriesBeforePropertiesOfTheSameName) {
    register_object("Chip", "C", position,
                    {text("Path", write_file("value", "5\n")), number("Position", 99)});
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    delete_physical_object(99);
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST_F(PhysicalObjects, AreDeletedByTheirPosition) {
    register_value("5\n");
    register_object("Accessor", "Other", 2,
                    {text("Chip", "C"), text("Kind", "attribute"), text("Type", "u")});
    delete_physical_object(position);
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_UNKNOWN_ACCESSOR);
    EXPECT_EQ(read_whole<guint32>("Other").code, DRIVER_ERR_UNKNOWN_CHIP);
    delete_physical_object(2);
    EXPECT_EQ(read_whole<guint32>("Other").code, DRIVER_ERR_UNKNOWN_ACCESSOR);
    EXPECT_EQ(dumped(), "");
}

TEST_F(PhysicalObjects, MayComeBackAfterTheyWereDeleted) {
    register_value("5\n");
    delete_physical_object(position);
    register_value("6\n");
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(6));
}

TEST_F(PhysicalObjects, MoveToAnotherPosition) {
    register_value("5\n");
    register_object("Accessor", "A", 2,
                    {text("Chip", "C"), text("Kind", "attribute"), text("Type", "u")});
    delete_physical_object(2);
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_UNKNOWN_ACCESSOR);
    register_value("5\n");
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST_F(PhysicalObjects, OfAnUnusedPositionAreDeletedWithoutHarm) {
    register_value("5\n");
    delete_physical_object(0);
    delete_physical_object(4711);
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(5));
}

TEST_F(PhysicalObjects, OfNullOrEmptyTablesAreIgnored) {
    create_physical_object(nullptr);
    const ObjectTable empty;
    create_physical_object(empty.get());
    EXPECT_EQ(dumped(), "");
}

TEST_F(PhysicalObjects, WithBrokenListEntriesKeepTheWholeOnes) {
    OBJ_PROPERTY_S nameless{nullptr, nullptr};
    GSList* list =
        g_slist_prepend(nullptr, create_has_property("Path", g_variant_new_string("/dev/zero")));
    list = g_slist_prepend(list, create_has_property("Position", g_variant_new_uint32(position)));
    list = g_slist_prepend(list, &nameless);
    list = g_slist_prepend(list, nullptr);
    GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
    std::string key = "Chip.C";
    g_hash_table_insert(table, key.data(), list);
    create_physical_object(table);
    create_physical_object(table);
    g_hash_table_destroy(table);
    list = g_slist_delete_link(list, list);
    list = g_slist_delete_link(list, list);
    g_slist_free_full(list, free_has_property);
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(0));
}

TEST_F(PhysicalObjects, WithoutAnyPropertyAreListedByTheirKey) {
    GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
    std::string key = "Bus.Bare";
    g_hash_table_insert(table, key.data(), nullptr);
    create_physical_object(table);
    EXPECT_EQ(dumped(), "physical object Bus.Bare\n");
    g_hash_table_destroy(table);
    register_object("Bus", "Bare", position,
                    {});  // has a position now, so the fixture can remove it
}

TEST_F(PhysicalObjects, WithAnUnterminatedStringAreReadToItsEndOnly) {
    const std::array<char, 4> bytes{'/', 'd', 'e', 'v'};
    GSList* list = g_slist_prepend(
        nullptr,
        create_has_property("Path", g_variant_new_from_data(G_VARIANT_TYPE_STRING, bytes.data(),
                                                            bytes.size(), TRUE, nullptr, nullptr)));
    list = g_slist_prepend(list, create_has_property("Position", g_variant_new_uint32(position)));
    GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
    std::string key = "Chip.C";
    g_hash_table_insert(table, key.data(), list);
    create_physical_object(table);
    g_hash_table_destroy(table);
    g_slist_free_full(list, free_has_property);
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "u"), text("File", "zero")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(0));
}

TEST_F(PhysicalObjects, AreListedOneBlockEachInTheOrderOfTheirKeys) {
    register_object("Chip", "C", position, {text("Path", "/proc/meminfo")});
    register_accessor("Free", "C",
                      {text("Kind", "line"), text("Line", "MemFree:"), text("Type", "u")});
    EXPECT_EQ(dumped(),
              "physical object Accessor.Free\n"
              "    accessor: field 1 of the line \"MemFree\" on chip C\n"
              "    Position       : 1\n"
              "    SemMember      : 3\n"
              "    SemId          : 7\n"
              "    ObjName        : 'Free'\n"
              "    Chip           : 'C'\n"
              "    Type           : 'u'\n"
              "    Line           : 'MemFree:'\n"
              "    Kind           : 'line'\n"
              "physical object Chip.C\n"
              "    chip: /proc/meminfo\n"
              "    Position       : 1\n"
              "    SemMember      : 3\n"
              "    SemId          : 7\n"
              "    ObjName        : 'C'\n"
              "    Path           : '/proc/meminfo'\n");
}

TEST_F(PhysicalObjects, AreListedWithWhatMakesThemUnusable) {
    register_object("Chip", "C", position, {text("Path", "proc/meminfo")});
    register_accessor("A", "C", {text("Kind", "raw"), number("Width", 3)});
    const std::string listing = dumped();
    EXPECT_EQ(count(listing, "    accessor: not usable: Width is 3, it must be 1, 2, 4 or 8\n"),
              1U);
    EXPECT_EQ(
        count(listing, "    chip: not usable: Path is \"proc/meminfo\", it must begin with /\n"),
        1U);
}

TEST_F(PhysicalObjects, AreNotListedToANullStream) {
    dump_physical_object(nullptr);
}

// Collects the warnings of the driver library instead of printing them.
class Warnings {
public:
    Warnings() : handler_{g_log_set_handler("moxplat-driver", G_LOG_LEVEL_WARNING, take, this)} {}
    ~Warnings() { g_log_remove_handler("moxplat-driver", handler_); }
    Warnings(const Warnings&) = delete;
    Warnings& operator=(const Warnings&) = delete;

    const std::vector<std::string>& texts() const { return texts_; }

private:
    static void take(const gchar*, GLogLevelFlags, const gchar* message, gpointer self) {
        static_cast<Warnings*>(self)->texts_.emplace_back(message);
    }

    std::vector<std::string> texts_;
    guint handler_;
};

TEST_F(PhysicalObjects, ThatCannotBeUsedAreWarnedOfOnce) {
    const Warnings warnings;
    for (int i = 0; i < 3; ++i)
        register_accessor("A", "C", {text("Kind", "raw"), number("Width", 3)});
    EXPECT_EQ(
        warnings.texts(),
        (std::vector<std::string>{
            "physical object Accessor.A cannot be used: Width is 3, it must be 1, 2, 4 or 8"}));
}

TEST_F(PhysicalObjects, MayBeReadAndReplacedAndDeletedByThreadsAtOnce) {
    const std::string one = write_file("one", "1\n");
    const std::string two = write_file("two", "2\n");
    std::atomic<bool> is_over{false};
    std::atomic<int> strange{0};
    const auto register_both = [&](const std::string& path) {
        register_chip("C", path);
        register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    };
    register_both(one);
    const auto read = [&] {
        while (!is_over) {
            guint32 value = 0;
            const gint32 code = accessor_read("A", 0, 0, &value);
            const bool is_value = code == DRIVER_OK && (value == 1 || value == 2);
            const bool is_gone =
                code == DRIVER_ERR_UNKNOWN_ACCESSOR || code == DRIVER_ERR_UNKNOWN_CHIP;
            if (!is_value && !is_gone) ++strange;
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back(read);
    threads.emplace_back(read);
    threads.emplace_back([&] {
        for (int i = 0; i < 300; ++i) register_both(i % 2 == 0 ? two : one);
    });
    threads.emplace_back([&] {
        for (int i = 0; i < 100; ++i) register_both(one);
    });
    threads.emplace_back([&] {
        for (int i = 0; i < 50; ++i) delete_physical_object(position);
    });
    threads.emplace_back([&] {
        for (int i = 0; i < 50; ++i) {
            if (count(dumped(), "physical object ") > 2) ++strange;
        }
    });
    for (std::size_t i = 2; i < threads.size(); ++i) threads[i].join();
    is_over = true;
    threads[0].join();
    threads[1].join();
    EXPECT_EQ(strange, 0);
    register_both(two);
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(2));
}

}  // namespace
}  // namespace mox::test
