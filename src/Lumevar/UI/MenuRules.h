#pragma once
// When the entries of the main window's menus, toolbar and tray are enabled, and what they are
// called, read from the model. One function, so that the menu bar, the toolbar and the tray menu
// agree and tests can check the rules without building widgets.

#include <QString>

class MainViewModel;

struct MenuState {
    bool canAddToLibrary = false;  // "Add to Library"
    bool showsShareEntry = false;  // the share entry exists only while there is a link
    bool canGoBack = false;        // "Back", in the menu and the toolbar
    bool canSnapBack = false;      // "Library SnapBack"
    bool controlsEnabled = false;  // play/pause, stop, next, previous
    bool canSort = false;          // the toolbar's sort menu
    QString playPauseTitle;        // "Pause" while playing, else "Play"
};

MenuState menuState(const MainViewModel &model);
