// SPDX-License-Identifier: Apache-2.0
/// @file
/// The two ways in which CHttpClient can send.
#pragma once

/// How a client sends. The values are part of the ABI.
enum HTTPTRANSFERPROFILE : int {
    HTTPTRANSFERPROFILE_COMPATIBLE = 0, ///< Over libcurl, with every habit that hosts rely on. The default.
    HTTPTRANSFERPROFILE_STRICT = 1      ///< Over the engine of httpclient::Client, by its rules.
};
