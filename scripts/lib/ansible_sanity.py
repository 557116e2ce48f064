# SPDX-License-Identifier: Apache-2.0
"""ansible-test with the checkers that Debian has, instead of those that it would download.

Its sanity tests make a virtual environment each and fill it with pip. Here these environments see
the system's packages, and pip is not called. Everything else is unchanged.
"""

import functools

from ansible_test._internal import main
from ansible_test._internal.commands import sanity


def install():
    """Replaces how the environments are made and filled."""
    sanity.create_virtual_environment = functools.partial(
        sanity.create_virtual_environment, system_site_packages=True
    )
    sanity.run_pip = lambda *_arguments: None


if __name__ == "__main__":
    install()
    main()
