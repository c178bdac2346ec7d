// Boards, as a joined module plugs and unplugs them.
#include "module/dropped_copies.hpp"
#include "module/host_error.hpp"
#include "module/module.hpp"
#include "module/owner_link.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

// The reply to a call about a board; null with error set.
VariantPtr ask_about(const char* method, const gchar* board_name, const char* reply_type,
                     GError** error) {
    return check_text(board_name, "board", error)
               ? owner_link().call(method, g_variant_new("(s)", board_name), reply_type, error)
               : nullptr;
}

}  // namespace
}  // namespace mox::host

using namespace mox::host;

gboolean moxhost_plug_board(MoxHostModule*, const gchar* board_name, GError** error) {
    return ask_about("PlugBoard", board_name, wire::empty_reply, error) != nullptr;
}

gboolean moxhost_unplug_board(MoxHostModule*, const gchar* board_name, gchar*** unsaved,
                              GError** error) {
    const VariantPtr reply = ask_about("UnplugBoard", board_name, wire::unplug_reply, error);
    if (!reply) {
        return FALSE;
    }
    guint32 position = 0;
    gchar** names = nullptr;
    g_variant_get(reply.get(), "(u^as)", &position, &names);
    drop_copies_and_tell(position);
    if (unsaved != nullptr) {
        *unsaved = names;
    } else {
        g_strfreev(names);
    }
    return TRUE;
}

gboolean moxhost_board_state(MoxHostModule*, const gchar* board_name, gboolean* is_plugged,
                             guint32* position, GError** error) {
    const VariantPtr reply = ask_about("BoardState", board_name, wire::board_state_reply, error);
    if (!reply) {
        return FALSE;
    }
    gboolean state = FALSE;
    guint32 number = 0;
    g_variant_get(reply.get(), wire::board_state_reply, &state, &number);
    if (is_plugged != nullptr) {
        *is_plugged = state;
    }
    if (position != nullptr) {
        *position = number;
    }
    return TRUE;
}

gchar** moxhost_list_boards(MoxHostModule*, GError** error) {
    const VariantPtr reply = owner_link().call("ListBoards", nullptr, wire::names_reply, error);
    gchar** names = nullptr;
    if (reply) {
        g_variant_get(reply.get(), "(^as)", &names);
    }
    return names;
}
