# SPDX-License-Identifier: Apache-2.0
"""The tests. A file is run as a module, from the project's folder:
python3 -B -m tests.docs.test_links"""

import os

ROOT = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
