// SPDX-License-Identifier: Apache-2.0
/// @file
/// The verb of a request.
#pragma once

/// The verb of a request. The values are part of the ABI; there is no value 0.
enum HTTPOPERATIONTYPE : int {
    HTTPOPERATION_GET = 1,    ///< GET
    HTTPOPERATION_PUT = 2,    ///< PUT
    HTTPOPERATION_POST = 3,   ///< POST
    HTTPOPERATION_DELETE = 4, ///< DELETE
    HTTPOPERATION_HEAD = 5,   ///< HEAD
    HTTPOPERATION_NOT_SET = 6 ///< The verb of a new request; matches none of the verbs that can be sent.
};
