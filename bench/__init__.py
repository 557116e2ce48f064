# SPDX-License-Identifier: Apache-2.0
"""The measurements against reference programs."""
