#pragma once
// Open species database files. A database is read through a read-only memory map (lookups scan
// only the 24-byte Formula field of each record); single records are written in place with pwrite,
// whole databases are rewritten atomically (temporary file + rename) with their catalogue.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/catalogue.h"
#include "thermo/species_record.h"

namespace zyl::platform {
class Messages;
}

namespace zyl::thermo {

enum class DbFormat { Current, Old, Unknown };

inline constexpr std::string_view kMsgOldFormat = "Old ZYL 2.0 File Format !";
inline constexpr std::string_view kMsgUnknownFormat = "Unknown File Format !";
inline constexpr std::string_view kMsgFileAlreadyOpen = "File already open:";
inline constexpr std::string_view kMsgCanNotOpen = "Can not open:";

/// Length test: a whole multiple of 256 bytes is current (an empty file too), else a multiple of
/// 110 is the old format, else (or when the file can not be read) unknown.
DbFormat CheckDbFormat(const std::filesystem::path& path);
DbFormat CheckDbFormatOfLength(uint64_t length);
/// "<path>\nOld ZYL 2.0 File Format !" / "<path>\nUnknown File Format !"; empty for Current.
std::string DbFormatMessage(const std::filesystem::path& path, DbFormat format);

class SpeciesDb {
 public:
  ~SpeciesDb();
  SpeciesDb(const SpeciesDb&) = delete;
  SpeciesDb& operator=(const SpeciesDb&) = delete;

  const std::filesystem::path& path() const { return path_; }
  int RecordCount() const { return count_; }
  bool writable() const { return writable_; }
  const SpeciesCatalogue& catalogue() const { return cat_; }
  /// True when the catalogue matches the file (complete, rising, within the file, and the first and
  /// last record of every block belong to that block), so that lookups may scan a single block.
  bool catalogue_usable() const { return cat_usable_; }

  /// Formula field of record rec (1-based), trailing blanks removed; empty when out of range.
  std::string_view Formula(int rec) const;
  /// The 256 raw bytes of a record; nullptr when out of range.
  const unsigned char* RecordData(int rec) const;

  /// Re-maps the file and re-reads the catalogue (after another writer changed them).
  bool Reload(std::string* error = nullptr);

 private:
  friend std::unique_ptr<SpeciesDb> OpenSpeciesDb(const std::filesystem::path&, platform::Messages*, bool,
                                                  std::string*);
  friend bool WriteSpeciesRecord(SpeciesDb&, int, const SpeciesRecord&, std::string*);
  SpeciesDb() = default;
  bool Map(std::string* error);
  bool CatalogueMatches() const;
  void Unmap();

  std::filesystem::path path_;
  int fd_ = -1;
  bool writable_ = false;
  const unsigned char* map_ = nullptr;
  size_t map_size_ = 0;
  int count_ = 0;
  SpeciesCatalogue cat_;
  bool cat_usable_ = false;
};

/// Opens a database (and reads its catalogue). Refuses files that fail the length test, with
/// DbFormatMessage; a file that can not be opened gives "Can not open: <path>"; a file this
/// process already holds open for writing gives "File already open: <path>". Messages go to *msgs
/// (when given) and to *error. writable opens for pwrite; read-only otherwise.
std::unique_ptr<SpeciesDb> OpenSpeciesDb(const std::filesystem::path& path, platform::Messages* msgs = nullptr,
                                         bool writable = false, std::string* error = nullptr);

/// Record count = file length / 256.
int SpeciesRecordCount(const SpeciesDb& db);
/// Record rec (1-based); nullopt when out of range.
std::optional<SpeciesRecord> ReadSpeciesRecord(const SpeciesDb& db, int rec);
/// Writes record rec (1..count, or count+1 to append) in place. The catalogue is not changed:
/// use the editing operations of db_tools.h to keep database and catalogue consistent.
bool WriteSpeciesRecord(SpeciesDb& db, int rec, const SpeciesRecord& record, std::string* error = nullptr);

/// All records of a database file (nullopt with a message when it fails the length test).
std::optional<std::vector<SpeciesRecord>> ReadAllSpeciesRecords(const SpeciesDb& db);

/// Sorts records into catalogue blocks and returns the catalogue. Ranges of one species (same
/// formula) are gathered, kept in their given order and then stably ordered by T1; species are
/// ordered by block and then by formula (byte order). Deterministic.
SpeciesCatalogue SortIntoBlocks(std::vector<SpeciesRecord>& records);

/// Writes a whole database: sorts the records into blocks, then writes the .ZYL file and its
/// .CAT file, each atomically. Same input gives the same bytes.
bool WriteSpeciesDatabase(const std::filesystem::path& path, std::vector<SpeciesRecord> records,
                          std::string* error = nullptr);

}  // namespace zyl::thermo
