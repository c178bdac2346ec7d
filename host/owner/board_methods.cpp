// What a board's state forbids is refused here; the plugging itself can only run out of room.
#include "owner/board_methods.hpp"

#include "wire/interface.hpp"

namespace mox::host {

GVariant* BoardMethods::answer(const JoinedModule& module, const std::string& method,
                               GVariant* arguments) const {
    if (method == "PlugBoard" || method == "UnplugBoard") {
        access_.check_manage(module, method, string_at(arguments, 0));
    }
    if (method == "PlugBoard") return plug(arguments);
    if (method == "UnplugBoard") return unplug(arguments);
    if (method == "BoardState") {
        const BoardDef& board = board_at(arguments);
        return g_variant_new(wire::board_state_reply, model_.is_plugged(board) ? TRUE : FALSE,
                             board.position);
    }
    if (method == "ListBoards") return list();
    return nullptr;
}

const BoardDef& BoardMethods::board_at(GVariant* arguments) const {
    const std::string name = string_at(arguments, 0);
    const BoardDef* const board = model_.find_board(name);
    if (board == nullptr) {
        refuse(wire::error_not_found,
               "there is no board \"" + name +
                   "\" in the profile; moxhost_list_boards names those that it has");
    }
    return *board;
}

GVariant* BoardMethods::plug(GVariant* arguments) const {
    const BoardDef& board = board_at(arguments);
    if (model_.is_plugged(board)) {
        refuse(wire::error_state,
               "board \"" + board.name + "\" is plugged already; unplug it first");
    }
    const std::string cause = plug_.plug(board);
    if (!cause.empty()) {
        refuse(wire::error_failed, "board \"" + board.name + "\" not plugged: " + cause);
    }
    return g_variant_new(wire::empty_reply);
}

GVariant* BoardMethods::unplug(GVariant* arguments) const {
    const BoardDef& board = board_at(arguments);
    if (!model_.is_plugged(board)) {
        refuse(wire::error_state, "board \"" + board.name + "\" is not plugged; plug it first");
    }
    GVariantBuilder unsaved;
    g_variant_builder_init(&unsaved, G_VARIANT_TYPE_STRING_ARRAY);
    for (const std::string& place : plug_.unplug(board)) {
        g_variant_builder_add(&unsaved, "s", place.c_str());
    }
    return g_variant_new(wire::unplug_reply, board.position, &unsaved);
}

GVariant* BoardMethods::list() const {
    GVariantBuilder names;
    g_variant_builder_init(&names, G_VARIANT_TYPE_STRING_ARRAY);
    for (const BoardDef& board : model_.profile().boards) {
        g_variant_builder_add(&names, "s", board.name.c_str());
    }
    return g_variant_new(wire::names_reply, &names);
}

}  // namespace mox::host
