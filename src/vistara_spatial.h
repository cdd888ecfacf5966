// Everything the library offers, in one include.
#ifndef VISTARA_SPATIAL_H_
#define VISTARA_SPATIAL_H_

#include "base/logging.h"
#include "base/stringprintf.h"
#include "base/strutil.h"
#include "diorama/binary_coder.h"
#include "diorama/shape_coder.h"
#include "platform/base64.h"
#include "platform/date_time.h"
#include "platform/fast_math.h"
#include "platform/hash.h"
#include "platform/memory.h"
#include "platform/polyline.h"
#include "platform/referent.h"
#include "platform/setting.h"
#include "platform/spin_lock.h"
#include "platform/system.h"
#include "platform/units.h"
#include "platform/vec.h"
#include "platform/worker_thread.h"
#include "spatial/spatial_api.h"
#include "spatial/wayfare_spatial_options.h"
#include "util/coding/bitcoding.h"
#include "util/coding/bits.h"
#include "util/coding/coder.h"
#include "util/coding/varint.h"
#include "util/geometry3d/bbox.h"
#include "util/geometry3d/mesh/shape.h"
#include "util/geometry3d/mesh/shape_iterator.h"
#include "util/geometry3d/vector.h"

#endif  // VISTARA_SPATIAL_H_
