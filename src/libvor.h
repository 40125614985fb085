/* All calls of the library. Conventions:
 *
 * 1. Results are 0 or a positive count on success and -1 on failure; an object, or NULL. Calls that
 *    use other numbers say so.
 * 2. Texts are ended by a zero byte and bytes in them are taken as they are. File names are written
 *    with "/"; "\" and a drive prefix are understood wherever a name is looked at.
 * 3. Blocks that change hands come from malloc and go to free.
 * 4. Lengths are millimetres, resolutions pixels per millimetre, file offsets signed 64-bit
 * numbers.
 * 5. Failures of the track calls go through lferror; other families tell at each call.
 * 6. The library starts no thread. A handle belongs to one thread at a time; tables of the process
 *    (formats, codecs, callbacks, words) are set at start-up and read afterwards.
 */
#ifndef VOR_LIBVOR_H
#define VOR_LIBVOR_H

#include "codecs/codecs.h"
#include "colour/autoconvert.h"
#include "colour/colour.h"
#include "config/gd.h"
#include "config/rc.h"
#include "config/units.h"
#include "formats/formats.h"
#include "platform/directories.h"
#include "platform/kel.h"
#include "runtime/arrays.h"
#include "runtime/backup.h"
#include "runtime/catalogue.h"
#include "runtime/config_file.h"
#include "runtime/getaline.h"
#include "runtime/lock.h"
#include "runtime/log.h"
#include "runtime/path_search.h"
#include "runtime/spawn.h"
#include "trackfile/lf.h"
#include "util/checksum.h"
#include "util/install.h"
#include "util/options.h"
#include "util/paths.h"
#include "util/services.h"
#include "util/shared_object.h"
#include "util/text.h"
#include "util/url.h"
#include "vor/vor.h"

#endif
