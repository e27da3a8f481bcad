#pragma once

#include <DatabaseORM/Storage.h>

using DatabaseORM::is_equal;
using DatabaseORM::storage_t;
using DatabaseORM::where;
using RaidDataModels::Adapter;
using RaidDataModels::PD;
using RaidDataModels::Plugin;

struct NoRecord {
  int ID = 0;
};
