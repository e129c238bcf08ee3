// Rows at four sizes each, for work that must grow linearly: texts, the output of scripts, trees of widgets.
#pragma once

class SystemCalls;

/// The fonts must have been built.
void countGrowth(SystemCalls& calls);
