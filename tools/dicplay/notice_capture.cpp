#include "tools/dicplay/notice_capture.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

namespace talv {
NoticeCapture::NoticeCapture() : previous_(_dup(2))
{
    char directory[MAX_PATH], name[MAX_PATH];
    GetTempPathA(MAX_PATH, directory);
    GetTempFileNameA(directory, "tvn", 0, name);
    file_ = _open(name, _O_RDWR | _O_CREAT | _O_TRUNC | _O_BINARY | _O_TEMPORARY, _S_IREAD | _S_IWRITE);
    _dup2(file_, 2);
}

NoticeCapture::~NoticeCapture()
{
    _dup2(previous_, 2);
    _close(previous_);
    _close(file_);
}

std::string NoticeCapture::Text() const
{
    char text[4096] = {};
    _lseek(file_, 0, SEEK_SET);
    const int read = _read(file_, text, sizeof(text) - 1);
    _lseek(file_, 0, SEEK_END);
    std::string plain(text, static_cast<size_t>(read > 0 ? read : 0));
    std::erase(plain, '\r');
    return plain;
}
}  // namespace talv
