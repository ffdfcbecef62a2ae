#include <tamsel/version.h>

std::string_view tamsel::version()
{
    return TAMSEL_VERSION;
}
