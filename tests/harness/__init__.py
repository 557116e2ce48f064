# SPDX-License-Identifier: Apache-2.0
"""Drives the real agent against a simulated device. Standard library only."""
