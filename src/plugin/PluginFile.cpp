#include "plugin/PluginFile.h"

#include <elf.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace qvplugin {

namespace {

struct Fd {
    int fd;
    ~Fd() {
        if (fd >= 0) close(fd);
    }
};

bool ReadAt(int fd, void* buffer, size_t size, uint64_t offset) {
    return pread(fd, buffer, size, static_cast<off_t>(offset)) == static_cast<ssize_t>(size);
}

// The end of the furthest loadable segment must lie inside the file.
template <typename Ehdr, typename Phdr>
std::string CheckSegments(int fd, uint64_t fileSize) {
    Ehdr header;
    if (!ReadAt(fd, &header, sizeof header, 0)) return "the ELF header is cut short";
    if (header.e_phentsize != sizeof(Phdr) || header.e_phnum == 0) return std::string();
    const uint64_t tableEnd = uint64_t{header.e_phoff} + uint64_t{header.e_phnum} * sizeof(Phdr);
    if (tableEnd > fileSize) return "the program headers reach past the end of the file";
    std::vector<Phdr> segments(header.e_phnum);
    if (!ReadAt(fd, segments.data(), segments.size() * sizeof(Phdr), header.e_phoff))
        return "the program headers cannot be read";
    uint64_t needed = 0;
    for (const Phdr& p : segments) {
        if (p.p_type != PT_LOAD) continue;
        const uint64_t end = uint64_t{p.p_offset} + uint64_t{p.p_filesz};
        if (end < p.p_offset) return "a segment's size overflows";
        if (end > needed) needed = end;
    }
    if (needed <= fileSize) return std::string();
    return "the file is " + std::to_string(fileSize) + " bytes long but its segments need " +
           std::to_string(needed) + " (cut short?)";
}

}  // namespace

std::string PluginFileProblem(const char* path) {
    Fd file{open(path, O_RDONLY | O_CLOEXEC)};
    struct stat info;
    if (file.fd < 0 || fstat(file.fd, &info) != 0 || !S_ISREG(info.st_mode)) return std::string();
    unsigned char ident[EI_NIDENT];
    if (!ReadAt(file.fd, ident, sizeof ident, 0) || memcmp(ident, ELFMAG, SELFMAG) != 0)
        return std::string();
    const uint64_t size = static_cast<uint64_t>(info.st_size);
    if (ident[EI_CLASS] == ELFCLASS64) return CheckSegments<Elf64_Ehdr, Elf64_Phdr>(file.fd, size);
    if (ident[EI_CLASS] == ELFCLASS32) return CheckSegments<Elf32_Ehdr, Elf32_Phdr>(file.fd, size);
    return std::string();
}

}  // namespace qvplugin
