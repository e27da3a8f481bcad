#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace vxsim {

// A directory tree in memory: paths relative to its root. Parent directories come by themselves.
class Tree {
 public:
  enum class Kind { Directory, File, Link };
  struct Entry {
    Kind kind = Kind::Directory;
    std::string content;  // of a file; target of a link
  };

  void AddDirectory(const std::string& path);
  void AddFile(const std::string& path, const std::string& content);
  // target is a path relative to the root as well; the link itself is written relative to its
  // place.
  void AddLink(const std::string& path, const std::string& target);

  bool Contains(const std::string& path) const { return entries_.contains(path); }
  const std::map<std::string, Entry>& Entries() const { return entries_; }

 private:
  void AddParents(const std::string& path);

  std::map<std::string, Entry> entries_;
};

// Makes the directory look like the tree: adds, changes and removes. A reader at work meanwhile
// sees each device whole or not at all, and never a link to a device that is not there yet. The
// directory is made when it is missing; one that holds anything else than an earlier tree is
// refused with a FileError.
void UpdateDirectory(const std::filesystem::path& root, const Tree& tree);

}  // namespace vxsim
