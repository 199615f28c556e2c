#pragma once

#include <string>

namespace talv {
/// What this process and the component wrote to standard error since the object was made; it is kept from
/// there. With TALV_NO_NOTICE set these are the component's notices.
class NoticeCapture
{
  public:
    NoticeCapture();
    ~NoticeCapture();
    NoticeCapture(const NoticeCapture&) = delete;
    NoticeCapture& operator=(const NoticeCapture&) = delete;
    std::string Text() const;

  private:
    int file_, previous_;  // file descriptors
};
}  // namespace talv
