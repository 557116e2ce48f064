# SPDX-License-Identifier: Apache-2.0
"""Test functions from a table."""


def cases(method, table):
    """A class decorator: for each {case: arguments} of the table the class gets a function
    test_CASE, which calls the method with these arguments."""

    def add_to(test_class):
        for case, arguments in table.items():
            name = f"test_{case}"
            assert not hasattr(test_class, name), name
            setattr(test_class, name, _function(method, arguments))
        return test_class

    return add_to


def _function(method, arguments):
    def test(self):
        getattr(self, method)(*arguments)

    return test
