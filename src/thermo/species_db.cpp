#include "thermo/species_db.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <set>

#include "platform/files.h"
#include "platform/messages.h"

namespace zyl::thermo {

namespace fs = std::filesystem;

namespace {

// Databases this process holds open for writing (canonical paths).
std::mutex g_open_mutex;
// Never destroyed: databases held in static storage close after other statics are gone.
std::set<std::string>& WritableOpen() {
  static auto* s = new std::set<std::string>;
  return *s;
}

std::string CanonicalKey(const fs::path& p) {
  std::error_code ec;
  fs::path c = fs::weakly_canonical(p, ec);
  return (ec ? p : c).string();
}

bool IsWholeMultiple(uint64_t length, int size) {
  double q = static_cast<double>(length) / size;
  return q - std::floor(q) <= 1e-6;
}

}  // namespace

DbFormat CheckDbFormatOfLength(uint64_t length) {
  if (IsWholeMultiple(length, kRecordSize)) return DbFormat::Current;
  if (IsWholeMultiple(length, kOldRecordSize)) return DbFormat::Old;
  return DbFormat::Unknown;
}

DbFormat CheckDbFormat(const fs::path& path) {
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return DbFormat::Unknown;
  uint64_t len = fs::file_size(path, ec);
  if (ec) return DbFormat::Unknown;
  return CheckDbFormatOfLength(len);
}

std::string DbFormatMessage(const fs::path& path, DbFormat format) {
  switch (format) {
    case DbFormat::Current: return {};
    case DbFormat::Old: return platform::JoinLines({path.string(), kMsgOldFormat});
    case DbFormat::Unknown: break;
  }
  return platform::JoinLines({path.string(), kMsgUnknownFormat});
}

SpeciesDb::~SpeciesDb() {
  Unmap();
  if (fd_ >= 0) ::close(fd_);
  if (writable_) {
    std::lock_guard lock(g_open_mutex);
    WritableOpen().erase(CanonicalKey(path_));
  }
}

void SpeciesDb::Unmap() {
  if (map_) ::munmap(const_cast<unsigned char*>(map_), map_size_);
  map_ = nullptr;
  map_size_ = 0;
  count_ = 0;
}

bool SpeciesDb::Map(std::string* error) {
  Unmap();
  struct stat st {};
  if (::fstat(fd_, &st) != 0) {
    if (error) *error = std::strerror(errno);
    return false;
  }
  const uint64_t len = static_cast<uint64_t>(st.st_size);
  count_ = static_cast<int>(len / kRecordSize);
  if (count_ > 0) {
    map_size_ = static_cast<size_t>(count_) * kRecordSize;
    void* p = ::mmap(nullptr, map_size_, PROT_READ, MAP_SHARED, fd_, 0);
    if (p == MAP_FAILED) {
      if (error) *error = std::strerror(errno);
      map_size_ = 0;
      count_ = 0;
      return false;
    }
    map_ = static_cast<const unsigned char*>(p);
  }
  cat_ = ReadCatalogue(CataloguePath(path_));
  cat_usable_ = cat_.Usable(count_) && CatalogueMatches();
  return true;
}

bool SpeciesDb::CatalogueMatches() const {
  // The first and last record of every block must belong to it; otherwise the file was sorted
  // with another element table or the catalogue belongs to another file.
  for (int block = 1; block <= kCatalogueEntries; ++block) {
    const int first = cat_.BlockFirst(block), last = cat_.BlockLast(block);
    if (first > last) continue;
    if (CatalogueBlockOf(Formula(first)) != block || CatalogueBlockOf(Formula(last)) != block) return false;
  }
  return true;
}

bool SpeciesDb::Reload(std::string* error) {
  // The file may have been replaced by an atomic rewrite: open the path again.
  int fd = ::open(path_.c_str(), (writable_ ? O_RDWR : O_RDONLY) | O_CLOEXEC);
  if (fd < 0) {
    if (error) *error = std::strerror(errno);
    return false;
  }
  Unmap();
  ::close(fd_);
  fd_ = fd;
  return Map(error);
}

std::string_view SpeciesDb::Formula(int rec) const {
  if (rec < 1 || rec > count_) return {};
  const char* p = reinterpret_cast<const char*>(map_) + static_cast<size_t>(rec - 1) * kRecordSize;
  return TrimField(std::string_view(p, kFormulaWidth));
}

const unsigned char* SpeciesDb::RecordData(int rec) const {
  if (rec < 1 || rec > count_) return nullptr;
  return map_ + static_cast<size_t>(rec - 1) * kRecordSize;
}

std::unique_ptr<SpeciesDb> OpenSpeciesDb(const fs::path& path, platform::Messages* msgs, bool writable,
                                         std::string* error) {
  auto fail = [&](std::string text) -> std::unique_ptr<SpeciesDb> {
    if (msgs) msgs->Error(text);
    if (error) *error = std::move(text);
    return nullptr;
  };
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return fail(std::string(kMsgCanNotOpen) + " " + path.string());
  DbFormat format = CheckDbFormat(path);
  if (format != DbFormat::Current) return fail(DbFormatMessage(path, format));
  const std::string key = CanonicalKey(path);
  if (writable) {
    std::lock_guard lock(g_open_mutex);
    if (WritableOpen().count(key)) return fail(std::string(kMsgFileAlreadyOpen) + " " + path.string());
  }
  int fd = ::open(path.c_str(), (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC);
  if (fd < 0) return fail(std::string(kMsgCanNotOpen) + " " + path.string());
  std::unique_ptr<SpeciesDb> db(new SpeciesDb());
  db->path_ = path;
  db->fd_ = fd;
  std::string why;
  if (!db->Map(&why)) return fail(std::string(kMsgCanNotOpen) + " " + path.string());
  if (writable) {
    std::lock_guard lock(g_open_mutex);
    WritableOpen().insert(key);
    db->writable_ = true;
  }
  return db;
}

int SpeciesRecordCount(const SpeciesDb& db) { return db.RecordCount(); }

std::optional<SpeciesRecord> ReadSpeciesRecord(const SpeciesDb& db, int rec) {
  const unsigned char* p = db.RecordData(rec);
  if (!p) return std::nullopt;
  return DecodeSpeciesRecord(std::span<const unsigned char, kRecordSize>(p, kRecordSize));
}

bool WriteSpeciesRecord(SpeciesDb& db, int rec, const SpeciesRecord& record, std::string* error) {
  if (!db.writable_) {
    if (error) *error = "Database is open read-only: " + db.path_.string();
    return false;
  }
  if (rec < 1 || rec > db.count_ + 1) {
    if (error) *error = "Record number out of range: " + std::to_string(rec);
    return false;
  }
  RecordBytes bytes = EncodeSpeciesRecord(record);
  const off_t offset = static_cast<off_t>(rec - 1) * kRecordSize;
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::pwrite(db.fd_, bytes.data() + done, bytes.size() - done, offset + static_cast<off_t>(done));
    if (n < 0) {
      if (errno == EINTR) continue;
      if (error) *error = std::strerror(errno);
      return false;
    }
    done += static_cast<size_t>(n);
  }
  if (rec > db.count_) {  // appended: map the longer file
    SpeciesCatalogue keep = db.cat_;
    if (!db.Map(error)) return false;
    db.cat_ = keep;
    db.cat_usable_ = keep.Usable(db.count_) && db.CatalogueMatches();
  }
  return true;
}

std::optional<std::vector<SpeciesRecord>> ReadAllSpeciesRecords(const SpeciesDb& db) {
  std::vector<SpeciesRecord> out;
  out.reserve(static_cast<size_t>(db.RecordCount()));
  for (int r = 1; r <= db.RecordCount(); ++r) out.push_back(*ReadSpeciesRecord(db, r));
  return out;
}

SpeciesCatalogue SortIntoBlocks(std::vector<SpeciesRecord>& records) {
  // Gather ranges per formula in order of first appearance, then order species by (block, formula).
  struct Species {
    int block;
    const std::string* formula;
    std::vector<size_t> index;
  };
  std::map<std::string_view, size_t> by_formula;
  std::vector<Species> species;
  for (size_t i = 0; i < records.size(); ++i) {
    auto [it, fresh] = by_formula.try_emplace(records[i].formula, species.size());
    if (fresh) species.push_back({CatalogueBlockOf(records[i].formula), &records[i].formula, {}});
    species[it->second].index.push_back(i);
  }
  std::sort(species.begin(), species.end(), [](const Species& x, const Species& y) {
    if (x.block != y.block) return x.block < y.block;
    return *x.formula < *y.formula;
  });
  std::vector<SpeciesRecord> sorted;
  sorted.reserve(records.size());
  SpeciesCatalogue cat;
  size_t next = 0;
  for (int block = 1; block <= kCatalogueEntries; ++block) {
    for (; next < species.size() && species[next].block == block; ++next) {
      auto& idx = species[next].index;
      auto key = [&](size_t i) {  // NaN sorts last, keeping the order a strict weak one
        float t = records[i].t1;
        return std::isnan(t) ? std::numeric_limits<float>::infinity() : t;
      };
      std::stable_sort(idx.begin(), idx.end(), [&](size_t x, size_t y) { return key(x) < key(y); });
      for (size_t i : idx) sorted.push_back(records[i]);
    }
    cat.entry[block] = static_cast<int32_t>(sorted.size());
  }
  records = std::move(sorted);
  cat.lines_read = kCatalogueEntries;
  cat.entry101 = cat.entry[kElectronBlock];
  return cat;
}

bool WriteSpeciesDatabase(const fs::path& path, std::vector<SpeciesRecord> records, std::string* error) {
  SpeciesCatalogue cat = SortIntoBlocks(records);
  std::string bytes(records.size() * kRecordSize, '\0');
  for (size_t i = 0; i < records.size(); ++i)
    EncodeSpeciesRecord(records[i], std::span<unsigned char, kRecordSize>(
                                        reinterpret_cast<unsigned char*>(bytes.data()) + i * kRecordSize, kRecordSize));
  if (!platform::WriteFileAtomic(path, bytes, error)) return false;
  return WriteCatalogue(CataloguePath(path), cat, error);
}

}  // namespace zyl::thermo
