// list and tree: the whole model at a glance.
#include <map>
#include <set>

#include "json_writer.hpp"
#include "membership.hpp"
#include "model_reads.hpp"
#include "table.hpp"
#include "verb_table.hpp"

namespace mox::tool {
namespace {

gchar* list_class = nullptr;

constexpr GOptionEntry list_options[] = {
    {"class", 'c', 0, G_OPTION_ARG_FILENAME, &list_class,
     "only objects of this class and of those that derive from it", "CLASS"},
    {}};

void write_object(JsonWriter& json, const MoxHostObjectInfo& info) {
    json.begin_object();
    json.member("object", info.name);
    json.member("class", info.class_name);
    json.member("position", info.position);
    json.member("module", info.module);
    json.member("board", info.board);
    json.member("properties", info.property_count);
    json.member("collection", info.is_collection != FALSE);
    json.end_object();
}

void run_list(Call& call) {
    const TextPtr class_name{g_steal_pointer(&list_class)};
    if (class_name && *class_name == '\0') {
        throw WrongUsage("--class has no value");
    }
    const Membership owner(call);
    if (class_name) refuse_collection_class(owner, class_name.get());
    const ObjectInfos infos = object_infos(owner, class_name ? class_name.get() : "");
    if (call.wants_json) {
        JsonWriter json;
        json.begin_array();
        for (const MoxHostObjectInfo& info : infos) write_object(json, info);
        json.end_array();
        json.print(call.out);
        return;
    }
    Table table({{"OBJECT"}, {"CLASS"}, {"POSITION", Align::right}, {"MODULE"}, {"BOARD"}});
    for (const MoxHostObjectInfo& info : infos) {
        const Style style = info.is_collection != FALSE ? Style::faint : Style::plain;
        table.add({{info.name, style},
                   {info.class_name, style},
                   {std::to_string(info.position), style},
                   {info.module, style},
                   {info.board, style}});
    }
    table.print(call.out);
}

// The model as a tree: below a class first the classes that derive from it, then its objects.
class ModelTree {
public:
    explicit ModelTree(const Membership& owner) {
        for (const MoxHostClassInfo& info : class_infos(owner)) {
            classes_[info.parent].emplace_back(info.name);
            modules_[info.name] = info.module;
        }
        for (const MoxHostObjectInfo& info : object_infos(owner)) {
            // A collection object is of a class that no profile names.
            if (modules_.count(info.class_name) != 0) {
                objects_[info.class_name].emplace_back(info.name);
            }
        }
    }

    bool has(const std::string& class_name) const { return modules_.count(class_name) != 0; }

    // The class at the top is printed at the margin. "" stands for above all classes.
    void print(Output& out, const std::string& top) const {
        if (!top.empty()) {
            print_class(out, top, "", "");
            return;
        }
        for (const std::string& root : below(classes_, "")) {
            print_class(out, root, "", "");
        }
    }

    void write(JsonWriter& json, const std::string& top) const {
        json.begin_array();
        if (!top.empty()) {
            write_class(json, top);
        } else {
            for (const std::string& root : below(classes_, "")) write_class(json, root);
        }
        json.end_array();
    }

private:
    using Names = std::vector<std::string>;

    static const Names& below(const std::map<std::string, Names>& tree, const std::string& name) {
        static const Names none;
        const auto found = tree.find(name);
        return found == tree.end() ? none : found->second;
    }

    // first: what stands before the class's own line; rest: before the lines below it.
    void print_class(Output& out, const std::string& name, const std::string& first,
                     const std::string& rest) const {
        out.line(first + out.styled(Style::name, shown(name)) +
                 out.styled(Style::faint, " (class of " + shown(modules_.at(name)) + ")"));
        const Names& classes = below(classes_, name);
        const Names& objects = below(objects_, name);
        const bool has_unicode = out.has_unicode();
        const std::string middle = has_unicode ? "├── " : "|-- ";
        const std::string last = has_unicode ? "└── " : "`-- ";
        const std::string line = has_unicode ? "│   " : "|   ";
        std::size_t left = classes.size() + objects.size();
        for (const std::string& child : classes) {
            --left;
            print_class(out, child, rest + (left == 0 ? last : middle),
                        rest + (left == 0 ? "    " : line));
        }
        for (const std::string& object : objects) {
            --left;
            out.line(rest + (left == 0 ? last : middle) + shown(object));
        }
    }

    void write_class(JsonWriter& json, const std::string& name) const {
        json.begin_object();
        json.member("class", name);
        json.member("module", modules_.at(name));
        json.name("classes");
        json.begin_array();
        for (const std::string& child : below(classes_, name)) write_class(json, child);
        json.end_array();
        json.member("objects", below(objects_, name));
        json.end_object();
    }

    std::map<std::string, Names> classes_;  // by parent, in the profile's order
    std::map<std::string, Names> objects_;  // by class
    std::map<std::string, std::string> modules_;
};

void run_tree(Call& call) {
    const Membership owner(call);
    const ModelTree tree(owner);
    const std::string top = call.arguments.empty() ? "" : call.arguments[0];
    if (!call.arguments.empty() && !tree.has(top)) {
        refuse_collection_class(owner, top);
        throw Failed(no_class_text(top));
    }
    if (call.wants_json) {
        JsonWriter json;
        tree.write(json, top);
        json.print(call.out);
    } else {
        tree.print(call.out, top);
    }
}

}  // namespace

const Verb list_verb = {
    .name = "list",
    .arguments = "",
    .summary = "list the objects with class, position and the module that owns the class",
    .description =
        "Lists the objects that are there now, in the profile's order, then the collections\n"
        "(not with --class).",
    .example = "moxctl list --class Sensor",
    .options = list_options,
    .run = run_list,
};

const Verb tree_verb = {
    .name = "tree",
    .arguments = "[CLASS]",
    .summary = "show the classes and their objects as a tree",
    .description =
        "Shows the classes, each with the module that owns it, and below each the classes\n"
        "that derive from it and its objects. With CLASS, only what is below that class.\n"
        "Lines are drawn with box characters when the locale is UTF-8, with ASCII otherwise.",
    .example = "moxctl tree Sensor",
    .most = 1,
    .run = run_tree,
};

}  // namespace mox::tool
