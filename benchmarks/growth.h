// Counts the instructions for texts, widget trees and script output at four sizes each. The cost must grow linearly.
#pragma once

class SystemCalls;

/// The fonts must have been built.
void countGrowth(SystemCalls& calls);
