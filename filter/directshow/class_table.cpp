#include "filter/directshow/class_table.h"

#include "filter/directshow/about_page.h"
#include "filter/directshow/reader_filter.h"
#include "filter/directshow/server_ids.h"
#include "filter/directshow/settings_page.h"

namespace talv {
const ClassEntry kClassTable[kClassCount] = {
    {kReaderName, &kReaderClass, &MakeReader, true},
    {kSettingsPageName, &kSettingsPageClass, &MakeSettingsPage, false},
    {kAboutPageName, &kAboutPageClass, &MakeAboutPage, false},
};
}  // namespace talv
