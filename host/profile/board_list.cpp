// A position tells a board from all others and from what is always there.
#include "profile/board_list.hpp"

#include <map>
#include <set>

#include "profile/json_members.hpp"

namespace mox::host {
namespace {

// Who has a position, for a fault.
using Positions = std::map<std::uint32_t, std::string>;

class BoardReader {
public:
    BoardReader(const ClassIndex& classes, Faults& faults, ObjectList& list)
        : classes_(classes), faults_(faults), list_(list) {
        for (const ObjectDef& object : list.objects) {
            if (!faults.is_doubtful_object(object.name)) {
                positions_.emplace(object.position,
                                   "object " + quoted(object.name) + ", which is on no board");
            }
        }
    }

    BoardDef read(JsonNode* node, std::size_t at) {
        Members members(node, place_in("boards", at), faults_,
                        {"name", "position", "plugged", "objects"});
        BoardDef board;
        board.name = members.own_name();
        members.set_place(place_in("boards", at, board.name));
        if (!board.name.empty() && !names_.insert(board.name).second) {
            members.fail("an earlier board has this name");
        }
        if (members.has("position")) {
            take_position(members, board);
        }
        board.plugged = members.flag("plugged", true);
        read_objects(members.list("objects"), {members.place() + ' ', &board}, classes_, faults_,
                     list_);
        return board;
    }

private:
    void take_position(const Members& members, BoardDef& board) {
        const auto position = members.whole("position", lowest_position, highest_position);
        if (!position) {
            return;
        }
        board.position = *position;
        const auto [known, added] = positions_.emplace(*position, "board " + quoted(board.name));
        if (!added) {
            members.fail("\"position\" is " + std::to_string(*position) + ", that of " +
                         known->second);
        }
    }

    const ClassIndex& classes_;
    Faults& faults_;
    ObjectList& list_;
    std::set<std::string> names_;
    Positions positions_;
};

}  // namespace

std::vector<BoardDef> read_boards(const std::vector<JsonNode*>& nodes, const ClassIndex& classes,
                                  Faults& faults, ObjectList& list) {
    BoardReader reader(classes, faults, list);
    std::vector<BoardDef> boards;
    boards.reserve(nodes.size());
    for (JsonNode* const node : nodes) {
        boards.push_back(reader.read(node, boards.size()));
    }
    return boards;
}

}  // namespace mox::host
