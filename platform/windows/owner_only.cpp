#include "platform/windows/owner_only.h"

namespace talv {
OwnerOnly::OwnerOnly()
{
    valid_ = Build();
    attributes_ = {sizeof(attributes_), &descriptor_, FALSE};
}

bool OwnerOnly::Build()
{
    // A thread that acts for somebody else makes files for that user.
    HANDLE token = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) &&
        !OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        return false;
    DWORD length = 0;
    const BOOL known = GetTokenInformation(token, TokenUser, user_, sizeof(user_), &length);
    CloseHandle(token);
    auto* list = reinterpret_cast<ACL*>(list_);
    return known && InitializeAcl(list, sizeof(list_), ACL_REVISION) &&
           AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS,
                               reinterpret_cast<TOKEN_USER*>(user_)->User.Sid) &&
           InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorDacl(&descriptor_, TRUE, list, FALSE) &&
           SetSecurityDescriptorControl(&descriptor_, SE_DACL_PROTECTED, SE_DACL_PROTECTED);
}
}  // namespace talv
