#include <DB/Database.h>
#include <DatabaseORM/Records.h>

namespace RaidDataModels {

const std::string& NullText() {
  static const std::string text(DatabaseWrapper::NULL_DB_STRING);
  return text;
}

}  // namespace RaidDataModels
