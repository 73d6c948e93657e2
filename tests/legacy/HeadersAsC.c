/* The pixmap library's headers are for C programs, too. */
#include "AlphaChannels.h"
#include "BitmapImport.h"
#include "ChannelFilters.h"
#include "ColourHistogram.h"
#include "DepthConversion.h"
#include "Display.h"
#include "FxSupport.h"
#include "HandleMemory.h"
#include "MaskedCopy.h"
#include "PaletteQuantizer.h"
#include "Polygon.h"
#include "RunLength.h"
#include "TPix.h"
#include "TPixCopy.h"
#include "WindowsApi.h"

/* C++ asserts the offsets; C must lay the record out in the same way. */
_Static_assert(sizeof(TPix) == 288 && offsetof(TPix, fieldsStack) == 64 && offsetof(TPix, reserved112) == 112,
               "the record's layout is fixed");
