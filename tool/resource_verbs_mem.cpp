// mem: what the pool is used for.
#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "json_writer.hpp"
#include "membership.hpp"
#include "table.hpp"
#include "verb_table.hpp"

namespace mox::tool {
namespace {

// What the objects of a class take, and the class itself.
struct ClassUse {
    std::string name;
    guint64 objects = 0;  // how many
    guint64 object_bytes = 0;
    guint64 class_bytes = 0;
    guint64 bytes() const { return object_bytes + class_bytes; }
};

struct ObjectUse {
    std::string name;
    std::string class_name;
    guint64 bytes = 0;
    guint64 value_bytes = 0;
};

struct PoolUse {
    MoxHostPoolInfo pool = {};
    std::vector<ClassUse> classes;  // largest first
    std::vector<ObjectUse> objects;

    guint64 free() const { return pool.total - pool.used; }
    // How much of the free room cannot be had as one block, in percent.
    double fragmentation() const {
        return free() == 0
                   ? 0
                   : 100 * (1 - static_cast<double>(pool.largest) / static_cast<double>(free()));
    }
    // Queues' counts and the like, and the allocator's own heads and rounding.
    guint64 rest() const { return pool.used - std::min(pool.used, pool.objects + pool.classes); }
};

// Largest first, then by name.
template <typename Use>
void sort_by_size(std::vector<Use>& uses, guint64 (*bytes)(const Use&)) {
    std::sort(uses.begin(), uses.end(), [bytes](const Use& left, const Use& right) {
        return bytes(left) != bytes(right) ? bytes(left) > bytes(right) : left.name < right.name;
    });
}

PoolUse pool_use(const Membership& owner) {
    PoolUse use;
    ErrorHolder error;
    if (moxhost_pool_info(owner.module(), &use.pool, error.out()) == FALSE) {
        throw Failed(error.text());
    }
    std::map<std::string, ClassUse> classes;
    for (const MoxHostClassInfo& info : class_infos(owner)) {
        classes[info.name].class_bytes = info.pool_bytes;
    }
    for (const MoxHostObjectInfo& info : object_infos(owner)) {
        ClassUse& class_use = classes[info.class_name];
        ++class_use.objects;
        class_use.object_bytes += info.pool_bytes;
        use.objects.push_back({info.name, info.class_name, info.pool_bytes, info.value_bytes});
    }
    for (auto& [name, class_use] : classes) {
        class_use.name = name;
        use.classes.push_back(class_use);
    }
    sort_by_size<ClassUse>(use.classes, [](const ClassUse& item) { return item.bytes(); });
    sort_by_size<ObjectUse>(use.objects, [](const ObjectUse& item) { return item.bytes; });
    return use;
}

std::string tenths(double percent) {
    const auto rounded = std::lround(percent * 10);
    return std::to_string(rounded / 10) + "." + std::to_string(rounded % 10) + " %";
}

double share(guint64 part, guint64 whole) {
    return whole == 0 ? 0 : 100 * static_cast<double>(part) / static_cast<double>(whole);
}

void print_facts(Output& out, const PoolUse& use) {
    const MoxHostPoolInfo& pool = use.pool;
    const auto of_total = [&pool](guint64 bytes) {
        return std::to_string(bytes) + " bytes, " + tenths(share(bytes, pool.total));
    };
    Facts facts;
    facts.add("Pool", std::to_string(pool.total) + " bytes");
    facts.add("Used", of_total(pool.used) + ", in " + std::to_string(pool.blocks) + " blocks");
    facts.add("Free", of_total(use.free()));
    facts.add("Largest block", of_total(pool.largest));
    facts.add("Fragmentation", tenths(use.fragmentation()));
    facts.add("Objects", std::to_string(pool.objects) + " bytes");
    facts.add("Classes", std::to_string(pool.classes) + " bytes");
    facts.add("Others, heads", std::to_string(use.rest()) + " bytes");
    facts.add("Removed", std::to_string(pool.removed) + " objects that a module has copies of");
    facts.print(out);
}

void print_tables(Output& out, const PoolUse& use) {
    Table classes({{"CLASS"},
                   {"BYTES", Align::right},
                   {"OBJECTS", Align::right},
                   {"THEIR BYTES", Align::right},
                   {"ITS OWN", Align::right}});
    for (const ClassUse& item : use.classes) {
        classes.add({item.name, std::to_string(item.bytes()), std::to_string(item.objects),
                     std::to_string(item.object_bytes), std::to_string(item.class_bytes)});
    }
    Table objects({{"OBJECT"}, {"BYTES", Align::right}, {"VALUES", Align::right}, {"CLASS"}});
    for (const ObjectUse& item : use.objects) {
        objects.add({item.name, std::to_string(item.bytes), std::to_string(item.value_bytes),
                     item.class_name});
    }
    out.line();
    classes.print(out);
    out.line();
    objects.print(out);
}

void write_pool(JsonWriter& json, const PoolUse& use) {
    const MoxHostPoolInfo& pool = use.pool;
    json.member("total", pool.total);
    json.member("used", pool.used);
    json.member("free", use.free());
    json.member("largest", pool.largest);
    json.member("fragmentation", std::round(use.fragmentation() * 100) / 100);
    json.member("blocks", pool.blocks);
    json.member("object_bytes", pool.objects);
    json.member("class_bytes", pool.classes);
    json.member("removed_objects", pool.removed);
}

void write(Output& out, const PoolUse& use) {
    JsonWriter json;
    json.begin_object();
    write_pool(json, use);
    json.name("classes");
    json.begin_array();
    for (const ClassUse& item : use.classes) {
        json.begin_object();
        json.member("class", item.name);
        json.member("bytes", item.bytes());
        json.member("objects", item.objects);
        json.member("object_bytes", item.object_bytes);
        json.member("class_bytes", item.class_bytes);
        json.end_object();
    }
    json.end_array();
    json.name("objects");
    json.begin_array();
    for (const ObjectUse& item : use.objects) {
        json.begin_object();
        json.member("object", item.name);
        json.member("class", item.class_name);
        json.member("bytes", item.bytes);
        json.member("value_bytes", item.value_bytes);
        json.end_object();
    }
    json.end_array();
    json.end_object();
    json.print(out);
}

void run(Call& call) {
    const Membership owner(call);
    const PoolUse use = pool_use(owner);
    if (call.wants_json) {
        write(call.out, use);
        return;
    }
    print_facts(call.out, use);
    print_tables(call.out, use);
}

}  // namespace

const Verb mem_verb = {
    .name = "mem",
    .arguments = "",
    .summary = "show what the pool is used for, by class and by object",
    .description =
        "Prints the pool's size, what is used and free, the largest block that could be\n"
        "had, and the fragmentation: the share of the free room that is not in that\n"
        "block. Then the bytes of each class with its objects, and of each object, the\n"
        "largest first. Bytes of objects and classes are as asked of the allocator;\n"
        "what it needs beside them is counted among the others.",
    .example = "moxctl mem\nmoxctl mem --json",
    .run = run,
};

}  // namespace mox::tool
