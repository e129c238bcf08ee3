// Counts operations at four input sizes each. Their cost must grow linearly: texts, script output, widget trees.
#pragma once

class SystemCalls;

/// The fonts must have been built.
void countGrowth(SystemCalls& calls);
