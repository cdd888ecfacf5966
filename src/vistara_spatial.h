// Everything the library offers, in one include.
#ifndef VISTARA_SPATIAL_H_
#define VISTARA_SPATIAL_H_

#include "base/logging.h"
#include "base/stringprintf.h"
#include "base/strutil.h"
#include "common/internal/jpeg_comment_date.h"
#include "common/internal/jpeg_comments.h"
#include "common/internal/jpeg_comments_dates.h"
#include "common/internal/stratum_tools.h"
#include "platform/atlasdoc/abstract_feature.h"
#include "platform/atlasdoc/kml_id.h"
#include "platform/atlasdoc/planet.h"
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
#include "spatial/orbit_manager.h"
#include "spatial/orbit_utils.h"
#include "spatial/solar_system_data.h"
#include "spatial/spatial_api.h"
#include "spatial/wayfare_spatial_options.h"

#endif  // VISTARA_SPATIAL_H_
