// What a joined module is in this process. There is at most one.
#ifndef MOXHOST_MODULE_MODULE_HPP
#define MOXHOST_MODULE_MODULE_HPP

#include <moxhost/moxhost.h>

#include <memory>

#include "module/inbox.hpp"
#include "wire/loss_table.hpp"
#include "wire/read_stamp_table.hpp"

struct MoxHostModule {
    MODULE_REG_INFO_S info = {};
    mox::host::wire::ReadStampTable* read_stamps = nullptr;  // in the pool
    mox::host::wire::LossTable* losses = nullptr;            // in the pool
    std::unique_ptr<mox::host::Inbox> inbox;
};

#endif
