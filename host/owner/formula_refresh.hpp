// The formulas of the model, computed with each refresh, so that their changes are announced.
#ifndef MOXHOST_OWNER_FORMULA_REFRESH_HPP
#define MOXHOST_OWNER_FORMULA_REFRESH_HPP

#include <glib.h>

#include <string>
#include <vector>

#include "model/model_index.hpp"

namespace mox::host {

// For the thread of the main loop only.
class FormulaRefresh {
public:
    // model: outlives this object.
    explicit FormulaRefresh(const ModelIndex& model);

    // Reads the result of every formula that is there live; an unchanged input costs no evaluation.
    // A formula that begins to fail, or is computed again, gets one log line.
    void read_all();

private:
    struct Formula {
        const ObjectDef* object;
        gint32 last_result;
    };
    const ModelIndex& model_;
    std::vector<Formula> formulas_;
};

}  // namespace mox::host

#endif
