// What the shell's completion offers, one word a line: from the same tables and lists as everything
// else, so that it cannot fall behind.
#include <classtree.h>

#include <set>

#include "command_line.hpp"
#include "membership.hpp"
#include "verb_table.hpp"

namespace mox::tool {
namespace {

const Verb& verb_named(const std::string& name) {
    const Verb* const verb = find_verb(name);
    if (verb == nullptr) {
        throw Failed("there is no verb \"" + name + "\"");
    }
    return *verb;
}

void print_verbs(Output& out) {
    for (const Verb* verb : all_verbs()) {
        if (!verb->is_hidden) {
            out.line(verb->name);
        }
    }
}

// Of an object, or those that any class has.
std::set<std::string> property_names(const Membership& owner, const std::string& object) {
    std::set<std::string> names;
    if (!object.empty()) {
        for (const MoxHostPropertyInfo& info : property_infos(owner, object)) {
            names.insert(info.name);
        }
        return names;
    }
    gint32 count = 0;
    DEFINED_CLASS_NODE_S* classes = nullptr;
    clt_get_class_tree(&count, &classes);
    for (gint32 at = 0; at < count; ++at) {
        const DEFINED_PROPERTY_ARRAY_S* const own = classes[at].property_array;
        for (gsize i = 0; own != nullptr && i < own->size; ++i) {
            names.insert(own->property[i].name);
        }
    }
    return names;
}

void print_names(Call& call, const std::string& kind, const std::string& of) {
    if (kind != "objects" && kind != "classes" && kind != "properties") {
        throw WrongUsage("there are no words of the kind \"" + kind + "\"");
    }
    const Membership owner(call);
    if (kind == "objects") {
        for (const MoxHostObjectInfo& info : object_infos(owner)) call.out.line(info.name);
    } else if (kind == "classes") {
        for (const MoxHostClassInfo& info : class_infos(owner)) call.out.line(info.name);
    } else {
        for (const std::string& name : property_names(owner, of)) call.out.line(name);
    }
}

void print_words(Call& call) {
    const std::string& kind = call.arguments[0];
    const std::string of = call.arguments.size() > 1 ? call.arguments[1] : "";
    if (kind == "verbs") {
        print_verbs(call.out);
    } else if (kind == "options") {
        const Verb* const verb = of.empty() ? nullptr : &verb_named(of);
        for (const std::string& option : option_names(verb)) call.out.line(option);
    } else if (kind == "arguments") {
        call.out.line(verb_named(of).arguments);
    } else {
        print_names(call, kind, of);
    }
}

}  // namespace

const Verb words_verb = {
    .name = "words",
    .arguments = "KIND [OF]",
    .summary = "print the words that the shell's completion offers",
    .description =
        "Prints words, one a line: verbs; options [VERB]; arguments VERB; objects; classes;\n"
        "properties [OBJECT].",
    .example = "moxctl words properties Tank",
    .fewest = 1,
    .most = 2,
    .run = print_words,
    .is_hidden = true,
};

}  // namespace mox::tool
