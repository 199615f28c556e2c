#pragma once

// Read by the resource compiler too: macros only.
#define IDS_PAGE_TITLE 100
#define IDD_SETTINGS_PAGE 101
#define IDS_PAGE_NAME 102
#define IDD_ABOUT_PAGE 103
#define IDC_BROWSE 105
#define IDC_FILE_NAME 108
#define IDC_STATUS 110
#define IDS_ABOUT_TITLE 111
#define IDS_ABOUT_NAME 112
#define IDC_FRAME_CONTROL 1002
#define IDC_FRAME_TIME 1004
#define IDC_FRAME_TIME_SPIN 1005
#define IDC_FRAME_DROPPING 1006
