// SPDX-License-Identifier: Apache-2.0
// Empty: the headers that the tests share are compiled with it.
