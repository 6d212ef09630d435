// SPDX-License-Identifier: MIT
int own() { return 0; }
