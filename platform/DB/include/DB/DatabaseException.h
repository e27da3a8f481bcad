#pragma once

#include <exception>
#include <string>

#include <TLX/Export.h>

namespace DBEXCEPTION {

// The one exception of the database layers.
class VX_EXPORT DatabaseException : public std::exception {
 public:
  explicit DatabaseException(std::string message);
  DatabaseException(const DatabaseException&);
  ~DatabaseException() override;
  const char* what() const noexcept override;

 private:
  std::string m_Message;
};

}  // namespace DBEXCEPTION
