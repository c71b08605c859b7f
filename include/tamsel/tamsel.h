// SPDX-License-Identifier: MIT
#pragma once

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/factory.h>
#include <tamsel/file_stream.h>
#include <tamsel/file_util.h>
#include <tamsel/iconfig.h>
#include <tamsel/ifile_stream.h>
#include <tamsel/json_util.h>
#include <tamsel/overlayed_config.h>
#include <tamsel/static_config.h>
#include <tamsel/types.h>
#include <tamsel/version.h>
