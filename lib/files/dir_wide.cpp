// The wide forms of the operations on directories: each narrows its paths and calls the narrow form.

#include "orlo/files/dir.h"
#include "strings/narrow_name.h"

namespace Orlo {
namespace {

stringEx narrowed(const wstringEx& path) {
    return IMPL::NarrowName(path);
}

std::vector<stringEx> narrowed(const std::vector<wstringEx>& texts) {
    std::vector<stringEx> made;
    for (const wstringEx& text : texts)
        made.push_back(narrowed(text));
    return made;
}

wstringEx widened(const stringEx& path) {
    return IMPL::Widen(path);
}

}  // namespace

bool CDir::IsDir(const wstringEx& path) noexcept {
    try {
        return IsDir(narrowed(path));
    } catch (...) {
        return false;
    }
}

void CDir::Open(const wstringEx& path, bool create, bool noCheck) {
    Open(narrowed(path), create, noCheck);
}

void CDir::ChangeDir(const wstringEx& path, bool create) {
    ChangeDir(narrowed(path), create);
}

void CDir::MakeDir(const wstringEx& path, bool recursive) {
    MakeDir(narrowed(path), recursive);
}

void CDir::RemoveDir(const wstringEx& path, bool removeSubFiles, bool removeSubDirs) {
    RemoveDir(narrowed(path), removeSubFiles, removeSubDirs);
}

void CDir::RemoveFile(const wstringEx& path) {
    RemoveFile(narrowed(path));
}

void CDir::DeleteFile(const wstringEx& path, bool force) {
    DeleteFile(narrowed(path), force);
}

bool CDir::TransferFile(const wstringEx& source, const wstringEx& target, bool overwrite, bool reserved,
                        bool allowCopy) {
    return TransferFile(narrowed(source), narrowed(target), overwrite, reserved, allowCopy);
}

bool CDir::TransferDir(const wstringEx& source, const wstringEx& target, bool overwrite, bool allowCopy) {
    return TransferDir(narrowed(source), narrowed(target), overwrite, allowCopy);
}

bool CDir::DuplicateFile(const wstringEx& source, const wstringEx& target, bool overwrite, bool flush) {
    return DuplicateFile(narrowed(source), narrowed(target), overwrite, flush);
}

bool CDir::DuplicateDir(const wstringEx& source, const wstringEx& target, bool overwrite, bool copySubFiles,
                        bool recursive, bool flush) {
    return DuplicateDir(narrowed(source), narrowed(target), overwrite, copySubFiles, recursive, flush);
}

void CDir::MakeSymbolicLink(const wstringEx& newPath, const wstringEx& oldPath, const wstringEx& arguments,
                            const std::vector<wstringEx>& extraLines, const wstringEx& workFolder) {
    MakeSymbolicLink(narrowed(newPath), narrowed(oldPath), narrowed(arguments), narrowed(extraLines),
                     narrowed(workFolder));
}

void CDir::MakeHardLink(const wstringEx& newPath, const wstringEx& oldPath) {
    MakeHardLink(narrowed(newPath), narrowed(oldPath));
}

wstringEx CDir::GenTempFileName(const wstringEx& baseDir) {
    const stringEx base = narrowed(baseDir);
    const stringEx made = GenTempFileName(base);
    wstringEx wide = baseDir;  // the base need not survive being narrowed and widened
    return wide.append(widened(made.substr(base.size())));
}

template <class T>
void CDir::ReadFile(const wstringEx& path, basic_buffer<T>& content) {
    ReadFile(narrowed(path), content);
}

template <class T>
void CDir::WriteFile(const wstringEx& path, const basic_buffer<T>& content, bool flush, bool append) {
    WriteFile(narrowed(path), content, flush, append);
}

template void CDir::ReadFile(const wstringEx&, basic_buffer<char>&);
template void CDir::ReadFile(const wstringEx&, basic_buffer<wchar_t>&);
template void CDir::ReadFile(const wstringEx&, basic_buffer<unsigned char>&);
template void CDir::WriteFile(const wstringEx&, const basic_buffer<char>&, bool, bool);
template void CDir::WriteFile(const wstringEx&, const basic_buffer<wchar_t>&, bool, bool);
template void CDir::WriteFile(const wstringEx&, const basic_buffer<unsigned char>&, bool, bool);

void CDir::BackupFile(const wstringEx& backupDir, const wstringEx& file, std::uint32_t keepCount,
                      backup_mode mode) {
    BackupFile(narrowed(backupDir), narrowed(file), keepCount, mode);
}

bool CDir::RestoreBackup(const wstringEx& backupDir, const wstringEx& file) {
    return RestoreBackup(narrowed(backupDir), narrowed(file));
}

void CDir::GetSpaceInfo(const wstringEx& path, std::uint64_t& available, std::uint64_t& total) {
    GetSpaceInfo(narrowed(path), available, total);
}

void CDir::GetStorageTopology(const wstringEx& path, std::uint64_t& fragmentSize, std::uint64_t& blockSize,
                              bool* isReadOnly) {
    GetStorageTopology(narrowed(path), fragmentSize, blockSize, isReadOnly);
}

void CDir::GetPathVolume(wstringEx& path) {
    stringEx narrow = narrowed(path);
    GetPathVolume(narrow);
    path = widened(narrow);
}

bool CDir::IsSameVolume(const wstringEx& a, const wstringEx& b) {
    return IsSameVolume(narrowed(a), narrowed(b));
}

}  // namespace Orlo
