// Backups: files named "@YYYYMMDD_HHMMSS.NAME" in a directory of their own, so that the order of their names is
// the order of time. The name is compared exactly, so that a backup of "a.b.csv" is none of "b.csv".

#include <algorithm>

#include "files/file_transfer.h"
#include "files/path_parts.h"
#include "orlo/files/dir.h"
#include "orlo/files/sys_file.h"
#include "orlo/log/front.h"
#include "orlo/time/time.h"

namespace Orlo {
namespace {

constexpr std::string_view STAMP_MASK = "@########_######.";

/// True for "@YYYYMMDD_HHMMSS." and the name.
bool is_backup_of(std::string_view candidate, std::string_view name) {
    if (candidate.size() != STAMP_MASK.size() + name.size()) return false;
    for (std::size_t i = 0; i < STAMP_MASK.size(); ++i) {
        const char c = candidate[i];
        if (STAMP_MASK[i] == '#' ? c < '0' || c > '9' : c != STAMP_MASK[i]) return false;
    }
    return candidate.substr(STAMP_MASK.size()) == name;
}

/// The backups of one file in one directory.
class backup_set {
public:
    backup_set(const stringEx& dir, const stringEx& file)
        : file_(file), name_(last_part(CDir::CleanPath(file))) {
        dir_.Open(dir);
    }

    /// Where the backup of a moment is.
    stringEx path_at(CTime time) const {
        stringEx path = dir_.GetPath();
        time.ToStr(path, "@%Y%M%d_%H%T%S.");
        return path.append(name_);
    }

    /// Full paths, the newest first.
    std::vector<stringEx> list() const {
        std::vector<stringEx> found;
        dir_.GetAllFiles(found, "@*"_lit, false, true);
        std::erase_if(found,
                      [&](const stringEx& path) { return !is_backup_of(last_part(path.view()), name_); });
        std::sort(found.begin(), found.end(), [](const stringEx& a, const stringEx& b) { return b < a; });
        return found;
    }

    /// Makes the backup of this moment, unless there is one.
    void copy(bool flush) const {
        const folder_entry source(full_path(file_)), target(path_at(CTime::GetCurrent()));
        struct stat status;
        if (target.status(status) == 0) return;
        if (stat_path(source.name, status) != 0) status = {};
        entry_copier copier;
        if (!S_ISREG(status.st_mode)) {
            CDir::DuplicateFile(file_, target.name, false, flush);
        } else {
            constexpr auto KEPT = entry_copier::keeping::permissions;
            check_transfer(place_copy(source, status, target, false, KEPT, flush, copier), file_, target.name,
                           true);
        }
    }

    void move(bool flush) const {
        CTime time = CTime::GetCurrent();
        while (!CDir::TransferFile(file_, path_at(time)))
            time += CTimeSpan(US_PER_SECOND);
        if (!flush) return;
        CSysFile moved;
        moved.Open(path_at(time), file_access::read);
        moved.Flush();
    }

private:
    const stringEx file_, name_;
    CDir dir_;
};

}  // namespace

void CDir::BackupFile(const stringEx& backupDir, const stringEx& file, std::uint32_t keepCount,
                      backup_mode mode) {
    const backup_set backups(backupDir, file);
    const bool flush = mode == backup_mode::copy_flushed || mode == backup_mode::move_flushed;
    if (keepCount != 0) {
        if (mode == backup_mode::move || mode == backup_mode::move_flushed) {
            backups.move(flush);
        } else {
            backups.copy(flush);
        }
    }
    const std::vector<stringEx> all = backups.list();
    for (std::size_t i = all.size(); i > keepCount; --i) {
        try {
            DeleteFile(all[i - 1], true);
        } catch (const dirExp& failed) {
            LogDebug("util.dir.backup", "failed remove backup file\n@ %s",
                     failed.message().terminated().c_str());
        }
    }
}

bool CDir::RestoreBackup(const stringEx& backupDir, const stringEx& file) {
    for (const stringEx& backup : backup_set(backupDir, file).list()) {
        try {
            return TransferFile(backup, file, true, false, true);
        } catch (const dirExp& failed) {
            LogDebug("util.dir.restore", "failed restore the backup file\n  from = %s\n  to   = %s\n@ %s",
                     backup.terminated().c_str(), file.terminated().c_str(),
                     failed.message().terminated().c_str());
        }
    }
    return false;
}

}  // namespace Orlo
