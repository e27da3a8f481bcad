#pragma once

#include <string>

#include <TLX/Export.h>

namespace PI {

// A file of "key=value" lines. Comments (# or ;), order, unknown keys, line ends and a byte order
// mark survive a write. Keys are compared byte for byte; of several lines with one key the first
// counts; a line that begins with "[" is no entry. The file is read anew on every call and nothing
// is kept open. A file above 16 MiB, a directory, a pipe or a device counts as not readable. A
// value type. [one thread at a time; different objects, also of one file: any thread]
class VX_EXPORT CConfigFile {
 public:
  // A relative name lies in the host's configuration directory.
  void SetFileName(const std::string& name);
  const std::string& FileName() const;  // as it was set

  // Reads the text behind the key, blanks around it cut off. Returns 0 when the key was read;
  // otherwise non-zero and value is untouched (no such file, not readable, a directory, no such
  // key). The last two arguments are of the host's own use: pass -1.
  [[nodiscard]] unsigned int ReadKeyValue(const std::string& key, std::string& value, int section,
                                          int index) const;

  // Stores the text under the key: in its first line, or in a new line at the end; makes the file
  // when there is none. Written to a temporary file in the same directory, flushed to disk and
  // renamed; mode and, where the process may, owner are kept. A symbolic link is written through.
  // Returns 0, or 20000 when it could not be written; the file is then as it was. Refused: an empty
  // key; a key with "=" in it, with blanks around it or that begins with "#", ";" or "["; line
  // breaks and zero bytes in key or value; a file that this user may not read or write. Blanks
  // around the value are written, but not read again.
  [[nodiscard]] unsigned int WriteKeyValue(const std::string& key, const std::string& value,
                                           int section, int index) const;

  // The host's configuration directory; the current directory unless set, or set to the
  // empty text. [set: before other threads start; read: any thread]
  static void SetConfigDirectory(const std::string& directory);
  static std::string ConfigDirectory();

 private:
  std::string m_Name;
};

}  // namespace PI
