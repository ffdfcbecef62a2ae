#pragma once

#include "options/Program.h"

namespace tamsel::capture {

// Each adds its command to the program.

void addCapture(Program& program);
void addStatus(Program& program);
void addDevices(Program& program);
void addFrames(Program& program);
#ifdef TAMSEL_SCREEN
void addScreen(Program& program);
#endif
void addStill(Program& program);
void addRecord(Program& program);
void addRepair(Program& program);
void addReplay(Program& program);
void addDetect(Program& program);
void addMotion(Program& program);
void addAsset(Program& program);
void addAssetStill(Program& program);
void addThumbnail(Program& program);
void addImage(Program& program);
void addAlbum(Program& program);
/// Hidden: the manual page and the completions for shells, for the build.
void addGenerate(Program& program);

} // namespace tamsel::capture
