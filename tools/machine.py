# SPDX-License-Identifier: MIT
"""What the pages with measured figures say about the machine."""

import os
import platform


def machine_text():
    model = "unknown processor"
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        for line in info:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    return f"{model}, {os.cpu_count()} processors, Linux {platform.release()}"
