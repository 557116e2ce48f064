# SPDX-License-Identifier: Apache-2.0
"""Simulated modules, each with an address, sshd, the agent and a device, for tests of fleets."""
