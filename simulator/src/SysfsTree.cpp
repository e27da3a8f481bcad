#include "SysfsTree.h"

#include "Files.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <vector>

namespace vxsim {

namespace {

namespace fs = std::filesystem;

// Marks a directory as ours; holds what is being made or removed, out of every reader's way.
constexpr const char* kWorkshop = ".vxsim";

std::string ParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool IsBelow(const std::string& path, const std::string& directory) {
  return path.size() > directory.size() && path[directory.size()] == '/' &&
         path.compare(0, directory.size(), directory) == 0;
}

bool IsBelowAny(const std::string& path, const std::set<std::string>& directories) {
  for (std::string parent = ParentOf(path); !parent.empty(); parent = ParentOf(parent)) {
    if (directories.contains(parent)) return true;
  }
  return false;
}

// What stands in a directory now, without the workshop.
std::map<std::string, Tree::Entry> ReadDirectory(const fs::path& root) {
  std::map<std::string, Tree::Entry> found;
  for (auto place = fs::recursive_directory_iterator(root);
       place != fs::recursive_directory_iterator(); ++place) {
    const std::string path = place->path().lexically_relative(root).string();
    if (path == kWorkshop) {
      place.disable_recursion_pending();
    } else if (place->is_symlink()) {
      found[path] = {Tree::Kind::Link, fs::read_symlink(place->path()).string()};
    } else if (place->is_directory()) {
      found[path] = {Tree::Kind::Directory, {}};
    } else {
      found[path] = {Tree::Kind::File, ReadWholeFile(place->path())};
    }
  }
  return found;
}

// Devices first and the links that lead to them last.
int RankOf(const std::string& path) {
  constexpr std::array<std::string_view, 4> kOrder{"devices", "module", "bus", "class"};
  const std::string top = path.substr(0, path.find('/'));
  const auto found = std::find(kOrder.begin(), kOrder.end(), top);
  return static_cast<int>(found - kOrder.begin());
}

class Updater {
 public:
  Updater(const fs::path& root, const Tree& tree)
      : root_(root), workshop_(root / kWorkshop), tree_(tree), found_(ReadDirectory(root)) {}

  void Run() {
    ClearWorkshop();
    RemoveStale();
    AddMissing();
    ClearWorkshop();
  }

 private:
  void ClearWorkshop() {
    fs::remove_all(workshop_);
    fs::create_directory(workshop_);
  }

  fs::path Aside() { return workshop_ / std::to_string(++pieces_); }

  bool IsStale(const std::string& path, const Tree::Entry& entry) const {
    const auto wanted = tree_.Entries().find(path);
    return wanted == tree_.Entries().end() || wanted->second.kind != entry.kind;
  }

  // The topmost paths that must go: links to a device before the device.
  void RemoveStale() {
    std::set<std::string> topmost;
    for (const auto& [path, entry] : found_) {
      if (IsStale(path, entry) && !IsBelowAny(path, topmost)) topmost.insert(path);
    }
    std::vector<std::string> stale(topmost.begin(), topmost.end());
    std::stable_sort(stale.begin(), stale.end(), [](const auto& left, const auto& right) {
      return RankOf(left) > RankOf(right);
    });
    for (const std::string& path : stale) {
      fs::rename(root_ / path, Aside());
      std::erase_if(found_,
                    [&](const auto& row) { return row.first == path || IsBelow(row.first, path); });
    }
  }

  void AddMissing() {
    std::vector<std::string> wanted;
    for (const auto& [path, entry] : tree_.Entries()) wanted.push_back(path);
    std::stable_sort(wanted.begin(), wanted.end(), [](const auto& left, const auto& right) {
      return RankOf(left) < RankOf(right);
    });
    std::set<std::string> made;  // directories that were put in place with all that is in them
    for (const std::string& path : wanted) {
      if (IsBelowAny(path, made)) continue;
      const Tree::Entry& entry = tree_.Entries().at(path);
      const auto existing = found_.find(path);
      if (existing != found_.end() && existing->second.content == entry.content) continue;
      if (existing == found_.end() && entry.kind == Tree::Kind::Directory) made.insert(path);
      const fs::path piece = Aside();
      Make(piece, path);
      fs::rename(piece, root_ / path);
    }
  }

  // One entry with everything below it, at another place.
  void Make(const fs::path& place, const std::string& path) {
    MakeOne(place, tree_.Entries().at(path));
    for (auto below = tree_.Entries().upper_bound(path + "/");
         below != tree_.Entries().end() && IsBelow(below->first, path); ++below) {
      MakeOne(place / below->first.substr(path.size() + 1), below->second);
    }
  }

  static void MakeOne(const fs::path& place, const Tree::Entry& entry) {
    switch (entry.kind) {
      case Tree::Kind::Directory:
        fs::create_directory(place);
        break;
      case Tree::Kind::File:
        WriteFile(place, entry.content);
        break;
      case Tree::Kind::Link:
        fs::create_symlink(entry.content, place);
        break;
    }
  }

  const fs::path& root_;
  const fs::path workshop_;
  const Tree& tree_;
  std::map<std::string, Tree::Entry> found_;
  unsigned pieces_ = 0;
};

void TakePossession(const fs::path& root) {
  fs::create_directories(root);
  if (fs::exists(root / kWorkshop)) return;
  if (!fs::is_empty(root)) {
    throw FileError(root.string() +
                    ": holds files that are not a simulated sysfs tree; name an empty or a new "
                    "directory");
  }
  fs::create_directory(root / kWorkshop);
}

}  // namespace

void Tree::AddParents(const std::string& path) {
  const std::string parent = ParentOf(path);
  if (!parent.empty()) AddDirectory(parent);
}

void Tree::AddDirectory(const std::string& path) {
  if (!entries_.try_emplace(path).second) return;
  AddParents(path);
}

void Tree::AddFile(const std::string& path, const std::string& content) {
  AddParents(path);
  entries_[path] = {Kind::File, content};
}

// The last name of the target always stands in the link, as the kernel writes it: a link to the
// directory above is "../../nvme0" and not "..".
void Tree::AddLink(const std::string& path, const std::string& target) {
  AddParents(path);
  const fs::path place = ParentOf(path);
  const fs::path above = fs::path(target).parent_path().lexically_relative(place);
  const fs::path text =
      above == "." ? fs::path(target).filename() : above / fs::path(target).filename();
  entries_[path] = {Kind::Link, text.string()};
}

void UpdateDirectory(const fs::path& root, const Tree& tree) {
  TakePossession(root);
  const DirectoryLock lock(root);
  Updater(root, tree).Run();
}

}  // namespace vxsim
