// A process without aliases at the start of a test, and none left at its end.
//
//   class Alias : public mox::test::AliasFixture {};
//
//   EXPECT_EQ(aliases(), (Aliases{{"a:Fan1a", "Fan1"}}));    the table, key to object name
//   put_alias("a:Fan1", "Fan1");                             past the binding
#ifndef MOX_TEST_ALIAS_FIXTURE_HPP
#define MOX_TEST_ALIAS_FIXTURE_HPP

#include <lom/alias.h>

#include <map>
#include <string>

#include "lom/alias.hpp"
#include "object_fixture.hpp"

namespace mox::test {

using Aliases = std::map<std::string, std::string>;

inline Aliases aliases() {
    Aliases found;
    if (g_local_alias_hashtable != nullptr) {
        GHashTableIter iter;
        gpointer key = nullptr;
        gpointer value = nullptr;
        g_hash_table_iter_init(&iter, g_local_alias_hashtable);
        while (g_hash_table_iter_next(&iter, &key, &value)) {
            found[static_cast<const gchar*>(key)] = static_cast<const gchar*>(value);
        }
    }
    return found;
}

inline void put_alias(const std::string& key, const std::string& object_name) {
    if (g_local_alias_hashtable == nullptr) {
        g_local_alias_hashtable = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    }
    g_hash_table_insert(g_local_alias_hashtable, g_strdup(key.c_str()),
                        g_strdup(object_name.c_str()));
}

class AliasFixture : public ObjectFixture {
protected:
    void TearDown() override {
        if (g_local_alias_hashtable != nullptr) {
            g_hash_table_destroy(g_local_alias_hashtable);
            g_local_alias_hashtable = nullptr;
        }
        ObjectFixture::TearDown();
    }
};

}  // namespace mox::test

#endif
