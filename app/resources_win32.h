/* Identifiers of the Windows program's resources (app/resources_win32.rc). Kept free of any
 * system header so that the resource compiler and C++ both read it. */
#pragma once

#define IDS_APP_TITLE 103   /* string: the window title */
#define IDD_ABOUTBOX 103    /* dialog: About */
#define IDM_ABOUT 104       /* command: open the About dialog */
#define IDM_EXIT 105        /* command: close the window */
#define IDI_SERVO_TOOL 107  /* icon: large */
#define IDI_SMALL 108       /* icon: small */
#define IDC_SERVO_TOOL 109  /* string (the window class name), menu and accelerator table */

#ifndef IDC_STATIC
#define IDC_STATIC -1
#endif
