# SPDX-License-Identifier: Apache-2.0
"""What the scripts run; a package, so that no other one of this name is found before it."""
