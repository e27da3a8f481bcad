#pragma once

#include "Core/Mirror.h"
#include "Core/Trace.h"

#include <DB/DatabaseException.h>
#include <DatabaseORM/Storage.h>

namespace NAMESPACE_piTorvex {

// The two trace lines of one kind of work on one kind of row: %s and %d stand for what names the
// object, and at the end of the failure for its reason. Null: nothing is traced.
struct CRowTexts {
  const char* m_Done;
  const char* m_Failed;
};
// The texts of a kind of row, in the order of ERowWork.
struct CRowTextTable {
  CRowTexts m_Insert;
  CRowTexts m_Update;
  CRowTexts m_Delete;

  [[nodiscard]] constexpr const CRowTexts& Of(ERowWork work) const {
    if (work == ERowWork::Insert) return m_Insert;
    return work == ERowWork::Update ? m_Update : m_Delete;
  }
};

// Does the work on the rows that the condition finds. storage: gives the database's storage object,
// or throws DatabaseException. fill: makes the record. An update writes the first row found;
// without one nothing is written and nothing traced, and that is no failure. names: of the object,
// as the texts show them. Returns false after a DatabaseException, which is traced; other
// exceptions pass.
template <class Record, class Condition, class Storage, class Fill, class... Names>
[[nodiscard]] bool WriteRows(ERowWork work, const CTracer& trace, const CRowTextTable& texts,
                             const Storage& storage, const Condition& condition, const Fill& fill,
                             const Names&... names) {
  const CRowTexts& lines = texts.Of(work);
  try {
    DatabaseORM::storage_t& rows = storage();
    if (work == ERowWork::Insert) {
      rows.insert(fill());
    } else if (work == ERowWork::Delete) {
      rows.template remove_all<Record>(condition);
    } else {
      const auto found = rows.template get_all<Record>(condition);
      if (found.empty()) return true;
      Record record = fill();
      record.ID = found.front().ID;
      rows.update(record);
    }
  } catch (const DBEXCEPTION::DatabaseException& failure) {
    trace.Steps(lines.m_Failed, names..., failure.what());
    return false;
  }
  trace.Steps(lines.m_Done, names...);
  return true;
}

}  // namespace NAMESPACE_piTorvex
