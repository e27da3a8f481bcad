#pragma once

#include <exception>
#include <string>

#include <TLX/Export.h>

namespace DBEXCEPTION {

// The one exception of the database layers: a statement could not be run, or not be made. What it
// says is for people: it names the database or the statement, and the way out where there is one;
// no program reads more from it than its type. A value type; copies share nothing. Its code
// lies in the library, so that a handler in one library knows what another one throws. [one thread
// at a time]
class VX_EXPORT DatabaseException : public std::exception {
 public:
  // message: one line, without a line end. Throws for lack of memory only.
  explicit DatabaseException(std::string message);
  // A copy has a message of its own, so that making one may lack memory.
  DatabaseException(const DatabaseException&);
  ~DatabaseException() override;
  // The message; lives as long as the exception.
  const char* what() const noexcept override;

 private:
  std::string m_Message;
};

}  // namespace DBEXCEPTION
