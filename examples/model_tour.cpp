// model_tour: what the model offers beyond values: the schema, routes, collections, aliases, and
// boards that come and go. It prints what it found; exit status 1, with the cause, when that is not
// what the profile says.
//
//   model_tour --step listen [--run-dir DIR]    is told of the board's objects
//   model_tour --step tour [--run-dir DIR]      shows all, plugs and unplugs the board
#include <lom.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <memory>
#include <string_view>

#include "board_listener.hpp"
#include "board_visit.hpp"
#include "demo_objects.hpp"
#include "schema_listing.hpp"
#include "step_module.hpp"
#include "value_text.hpp"

namespace mox::examples {
namespace {

// The first one lets the collection grow to its room; the second one must leave no trace.
constexpr unsigned rounds = 2;
constexpr guint32 port_alias = 0x11;

void expect_method(const char* method, const std::string& input, const char* constant,
                   unsigned value) {
    const std::string name = std::string{port_class} + "." + method;
    expect(parameters_of(port_class, method, INPUT_PARA) == input &&
               parameters_of(port_class, method, OUTPUT_PARA) == "(b)",
           "the parameters of " + name + " are not the profile's");
    expect_value((name + "'s constant").c_str(), constant_of(port_class, method, constant), value);
}

void show_schema(StepModule& module) {
    print_schema(port_class);
    expect_method(reset_method, "(u)", reset_constant, reset_timeout);
    expect_method(rename_method, "(s)", rename_constant, rename_longest);
    std::printf("  compared      %zu objects have the properties and types of their classes\n",
                check_objects(module.handle()));
}

// The processes of the steps before have left, and nobody else has joined.
void show_routes(StepModule& module) {
    gsize count = 0;
    Failure failure;
    const std::unique_ptr<ROUTE_S, decltype(&g_free)> routes{
        moxhost_list_routes(module.handle(), &count, failure.out()), g_free};
    expect(routes != nullptr, failure.text());
    const std::string names[] = {port_class, std::string{"_"} + tour_module,
                                 std::string{"_"} + board_listener_module};
    expect(count == std::size(names), std::to_string(count) + " routes are listed, not 3");
    const MODULE_REG_INFO_S* own = moxhost_reg_info(module.handle());
    for (gsize i = 0; i < count; ++i) {
        const ROUTE_S& route = routes.get()[i];
        expect(names[i] == route.target_name, "there is no route to " + names[i]);
        const bool is_own =
            route.target.rpc_port == own->rpc_port && route.target.msg_que_id == own->msg_que_id;
        expect(is_own == (i < 2), "the route to " + names[i] + " leads elsewhere");
        std::printf("  %-12s  %-15s  module %d, queue %d\n", i == 0 ? "routes" : "",
                    route.target_name, route.target.rpc_port, route.target.msg_que_id);
    }
}

void show_collection(StepModule& module, const char* when, unsigned ports) {
    const std::string name = std::string{port_class} + ":C";
    std::string wanted = std::string{"['"} + fixed_port + "'";
    for (unsigned i = 1; i < ports; ++i) wanted += std::string{", '"} + board_ports[i - 1] + "'";
    wanted += "]";
    const unsigned count = module.stored(name.c_str(), "Count");
    const std::string list = text_of_value(read_pool(module.find(name.c_str()), "List").get());
    expect_value((name + ".Count").c_str(), count, ports);
    expect(list == wanted, name + ".List is " + list + ", not " + wanted);
    std::printf("  collection    %s %s: Count %u, List %s\n", name.c_str(), when, count,
                list.c_str());
}

void bind_alias(StepModule& module) {
    static char note[] = "cable 17";
    const OBJ_HANDLE port = module.find(board_ports[0]);
    expect(lom_bind_alias(port, port_alias) == MOX_OK, "the alias cannot be bound");
    expect(lom_bind_data(port, note, nullptr) == MOX_OK, "the data cannot be bound");
    const OBJ_HANDLE found = lom_get_with_alias(port_class, port_alias);
    expect(found == port, "the alias does not find its object");
    const gpointer data = lom_get_data_with_alias(port_class, port_alias);
    expect(data == note, "the alias does not find the object's data");
    std::printf("  alias         %s 0x%x finds %s, and the data \"%s\" bound to it here\n",
                port_class, port_alias, lom_get_object_name(found), static_cast<char*>(data));
}

std::string label_of(StepModule& module, const char* port) {
    const VariantPtr label = read_pool(module.find(port), label_property);
    expect(g_variant_is_of_type(label.get(), G_VARIANT_TYPE_STRING) != FALSE,
           "the label has an unexpected type");
    return g_variant_get_string(label.get(), nullptr);
}

constexpr const char* new_label = "uplink";

void save_label(StepModule& module) {
    const char* port = board_ports[0];
    expect(label_of(module, port) == port_labels[1], "the label is not the profile's");
    Failure failure;
    expect(moxhost_set_property(module.handle(), port, label_property,
                                g_variant_new_string(new_label), failure.out()) != FALSE,
           failure.text());
    const gint32 code = lom_set_property_save_type(module.find(port), label_property, TRUE);
    expect(code == MOX_OK, "marking the label as saved gives code " + std::to_string(code));
    std::printf("  label         of %s is \"%s\", now \"%s\", saved and marked as saved\n", port,
                port_labels[1], new_label);
}

void find_label(StepModule& module) {
    expect(label_of(module, board_ports[0]) == new_label, "the saved label is not back");
    expect(lom_get_with_alias(port_class, port_alias) == module.find(board_ports[0]),
           "the alias does not find the object that came back");
    std::printf("  board         plugged again: %s has the label \"%s\", its alias finds it\n",
                board_ports[0], new_label);
}

// All of the board's properties but the one that was saved.
void show_unsaved(const BoardVisit& visit) {
    std::vector<std::string> wanted;
    std::string text;
    for (const char* port : board_ports) {
        for (const char* property : {label_property, number_property}) {
            if (port == board_ports[0] && property == label_property) continue;
            wanted.push_back(std::string{port} + "." + property);
        }
    }
    for (const std::string& name : visit.unsaved) text += (text.empty() ? "" : ", ") + name;
    expect(visit.unsaved == wanted, "the unplug handed over as unsaved: " + text);
    std::printf("  unplugged     handed over as not saved: %s\n", text.c_str());
}

void show_pool(const PoolBytes& pool) {
    std::printf("  pool          %u bytes used before, %u with the board, %u after%s\n",
                pool.before, pool.plugged, pool.after,
                pool.after == pool.before ? "" : " (the collection keeps its longer room)");
}

void show_board(StepModule& module) {
    wait_for_quiet_pool(module);
    std::printf("  board         %s, at position %u, was not plugged and is plugged now\n",
                board_name, board_position);
    const BoardVisit first = visit_board(module, [&] {
        show_collection(module, "with it", 1 + std::size(board_ports));
        bind_alias(module);
        save_label(module);
    });
    expect(lom_get_with_alias(port_class, port_alias) == 0, "the alias finds what is unplugged");
    show_unsaved(first);
    show_collection(module, "without", 1);
    show_pool(first.pool);
    // The list of the collection keeps its room for two short names more, if it had less.
    constexpr guint32 most_kept = 32;
    expect(
        first.pool.after >= first.pool.before && first.pool.after <= first.pool.before + most_kept,
        "the pool did not get the board back");

    const BoardVisit second = visit_board(module, [&] { find_label(module); });
    show_unsaved(second);
    show_pool(second.pool);
    expect(second.pool.before == first.pool.after, "the pool's use changed between the rounds");
    expect(second.pool.plugged > second.pool.before, "the board took no room in the pool");
    expect(second.pool.after == second.pool.before, "the pool did not get all of the board back");
}

void tour(const std::string& run_dir) {
    StepModule module{run_dir, tour_module};
    show_schema(module);
    show_routes(module);
    show_collection(module, "now", 1);
    show_board(module);
}

}  // namespace
}  // namespace mox::examples

int main(int argc, char** argv) {
    // Line by line also into a pipe: a listener's first line tells that it is ready.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::string step;
    std::string run_dir;
    bool is_right = argc % 2 == 1;
    for (int i = 1; is_right && i < argc; i += 2) {
        const std::string_view name = argv[i];
        is_right = name == "--step" || name == "--run-dir";
        (name == "--step" ? step : run_dir) = argv[i + 1];
    }
    if (!is_right || (step != "listen" && step != "tour")) {
        std::fprintf(stderr, "usage: model_tour --step listen|tour [--run-dir DIR]\n");
        return 2;
    }
    try {
        if (step == "listen") {
            mox::examples::listen_to_board(run_dir, mox::examples::rounds);
        } else {
            mox::examples::tour(run_dir);
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "model_tour: %s\n", problem.what());
        return EXIT_FAILURE;
    }
}
