#pragma once

#include <windows.h>

#include <cstddef>

namespace talv {
/// Security attributes that give a new object to the user of this process and to nobody else.
class OwnerOnly
{
  public:
    OwnerOnly();
    OwnerOnly(const OwnerOnly&) = delete;
    OwnerOnly& operator=(const OwnerOnly&) = delete;

    bool IsValid() const { return valid_; }
    SECURITY_ATTRIBUTES* Attributes() { return &attributes_; }

  private:
    bool Build();

    alignas(8) std::byte user_[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    alignas(8) std::byte list_[sizeof(ACL) + sizeof(ACCESS_ALLOWED_ACE) + SECURITY_MAX_SID_SIZE];
    SECURITY_DESCRIPTOR descriptor_;
    SECURITY_ATTRIBUTES attributes_;
    bool valid_;
};
}  // namespace talv
