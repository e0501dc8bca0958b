#include "Lumevar/UI/MenuRules.h"

#include "Lumevar/Model/MainViewModel.h"

MenuState menuState(const MainViewModel &model)
{
    MenuState state;
    state.canAddToLibrary = model._canAddToLibrary();
    state.showsShareEntry = model._shareLink().has_value() || model._shareableSongID().has_value();
    state.canGoBack = model._activePane() >= 1;
    state.canSnapBack = model._lastSavedSnapbackState().has_value();
    state.controlsEnabled = !model._isStopped();
    // Recommendations have no sort choices.
    const std::optional<ContainerKind> kind = model.selectedContainerKind();
    state.canSort = kind && *kind != ContainerKind::madeForYou && *kind != ContainerKind::stations;
    state.playPauseTitle = model._isPlaying() ? QStringLiteral("Pause") : QStringLiteral("Play");
    return state;
}
