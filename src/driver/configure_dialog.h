// The dialog that edits the option word and the default quality, and the About box.
#pragma once

#include "driver/instance.h"
#include "platform/host_services.h"

namespace tkmjpg {

// Modal. With an instance it shows that one's values, and OK sets them and the profile's; with null
// it shows the profile, and OK sets the profile alone. Answers 1 for OK, 0 for Cancel.
INT_PTR ShowConfigureDialog(CodecInstance* instance, HWND owner);

LRESULT ShowAboutBox(HWND owner);

INT_PTR TKMJPG_DRIVER_CALL ConfigureDialogProc(HWND window, UINT message, WPARAM wparam,
                                               LPARAM lparam);

// Control ids of the template "Configure" that are no option's.
inline constexpr int kScrollBarId = 101;
inline constexpr int kQualityTextId = 102;
inline constexpr int kDefaultButtonId = 105;

}  // namespace tkmjpg
