// undocumented.h: what the check of the reference has to notice.
#pragma once

// Documented.
int function_with_comment();

int function_without_comment();
