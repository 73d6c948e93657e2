#pragma once

/// The commands of `vf`, one file each. A command adds itself to the command line; its callback does the work and
/// throws Failure to end with an exit code other than 0.

#include <CLI/CLI.hpp>

namespace tool {

/// `vf convert IN OUT`: a clip or still through a pixel format and a size into a file.
void AddConvertCommand(CLI::App& app);

/// `vf monitor FILES`: up to four clips side by side, into a file or a window.
void AddMonitorCommand(CLI::App& app);

/// `vf camera`: the process of a monitor's camera.
void AddCameraCommand(CLI::App& app);

/// `vf show FILE`: a clip or still in a window.
void AddShowCommand(CLI::App& app);

/// `vf bounds FILE`: the visible part of each picture.
void AddBoundsCommand(CLI::App& app);

/// `vf warp IN OUT`: a picture projected onto a quadrilateral.
void AddWarpCommand(CLI::App& app);

/// `vf tpix FILE`: a picture or a field as a pixel map shows it.
void AddTPixCommand(CLI::App& app);

/// `vf bmp MODULE`: bitmap resources of a Windows module.
void AddBitmapCommand(CLI::App& app);

/// `vf poly IN OUT`: a polygon cut out of a picture.
void AddPolygonCommand(CLI::App& app);

/// `vf palette IN OUT.png`: a picture with the colours of a palette.
void AddPaletteCommand(CLI::App& app);

/// `vf convolve IN OUT.png`: a picture through a 3 x 3 filter.
void AddConvolveCommand(CLI::App& app);

/// `vf explain SRC DST`: the plan of a conversion.
void AddExplainCommand(CLI::App& app);

/// `vf formats`: the table of pixel formats.
void AddFormatsCommand(CLI::App& app);

/// `vf devices`: devices that frames can live on.
void AddDevicesCommand(CLI::App& app);

/// `vf publish FILE`: shares the frames of a clip.
void AddPublishCommand(CLI::App& app);

/// `vf receive NAME OUT`: writes the frames of a clip that another process publishes.
void AddReceiveCommand(CLI::App& app);

/// `vf list`: what is shared now.
void AddListCommand(CLI::App& app);

/// `vf watch`: what is shared and dropped, as it happens.
void AddWatchCommand(CLI::App& app);

/// `vf dump FRAME OUT`: a shared frame as a picture.
void AddDumpCommand(CLI::App& app);

/// `vf clean`: removes what dead processes left.
void AddCleanCommand(CLI::App& app);

} // namespace tool
