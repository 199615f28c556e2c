#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "platform/text.h"
#include "tools/talvdicom/console.h"

namespace talv {
void PrepareConsole()
{
    _setmode(_fileno(stdout), _O_BINARY);
}

bool ErrorIsTerminal()
{
    return _isatty(_fileno(stderr)) != 0;
}

std::filesystem::path PathFromArgument(const std::string& argument)
{
    return WideFromNarrow(argument);
}
}  // namespace talv
