// Plugging and unplugging boards: parts of the model that come and go as a whole.
#ifndef MOXHOST_OWNER_BOARD_PLUG_HPP
#define MOXHOST_OWNER_BOARD_PLUG_HPP

#include <functional>
#include <string>
#include <vector>

#include "model/model_build.hpp"
#include "model/model_index.hpp"
#include "owner/removed_objects.hpp"

namespace mox::host {

// For the thread of the main loop only.
class BoardPlug {
public:
    struct Actions {
        std::function<void()> refresh;                    // reads all hardware once
        std::function<void(guint32 position)> tell_gone;  // has the modules drop their copies
    };

    // The references outlive this object. saved: as at the start.
    BoardPlug(ModelIndex& model, RemovedObjects& removed, std::string owner_name, Saved saved,
              Actions actions);

    // Builds a board's objects, has the collections list them, sends one new-object notice to each
    // listening queue and reads the hardware. board: not plugged. Returns an empty string, or why
    // not; then everything of the board is taken back and nobody was told.
    std::string plug(const BoardDef& board);

    // Takes a board's objects out of the model, tells listeners and modules, and frees what nobody
    // has a copy of; waits for no module but one that holds the lock of a collection, or of an
    // object whose lock the board shares. board: plugged. Returns the properties that were not
    // marked as saved, as "OBJECT.PROPERTY", sorted.
    std::vector<std::string> unplug(const BoardDef& board);

private:
    std::vector<std::string> remove(const BoardDef& board);
    void take_back(const BoardDef& board);

    ModelIndex& model_;
    RemovedObjects& removed_;
    std::string owner_name_;
    Saved saved_;
    Actions actions_;
};

}  // namespace mox::host

#endif
