"""The API comes from the table of effects: the functions, their
signatures and docstrings, and the type stubs editors read."""

import ast
import inspect
import os

import kestrova


def test_the_table():
    effects = kestrova.effects()
    names = [effect.name for effect in effects]
    assert names and len(set(names)) == len(names)
    for effect in effects:
        assert effect.description
        for setting in effect.settings:
            assert setting.minimum <= setting.default <= setting.maximum
            assert setting.help and setting.label
            assert setting.keyword == setting.name.replace("-", "_")


def test_one_function_per_effect():
    for effect in kestrova.effects():
        function = getattr(kestrova, effect.name)
        assert function.__name__ == effect.name
        assert effect.name in kestrova.__all__
        parameters = inspect.signature(function).parameters
        expected = ["picture"] + [setting.keyword for setting in effect.settings]
        expected += ["contours"] if effect.contour_layer else []
        assert list(parameters) == expected + ["threads", "progress"]
        for setting in effect.settings:
            assert parameters[setting.keyword].default == setting.default
            assert parameters[setting.keyword].kind == inspect.Parameter.KEYWORD_ONLY
            assert f"{setting.keyword}: {setting.help}, {setting.minimum}..{setting.maximum} " \
                   f"(default {setting.default})" in function.__doc__


def test_the_stubs_match_the_functions():
    path = os.path.join(os.path.dirname(kestrova.__file__), "__init__.pyi")
    with open(path, encoding="utf-8") as stubs:
        tree = ast.parse(stubs.read())
    functions = {node.name: node for node in tree.body if isinstance(node, ast.FunctionDef)}
    for name in ("effects", "draw", "read", "write"):
        assert name in functions
    for effect in kestrova.effects():
        stub = functions[effect.name]
        parameters = inspect.signature(getattr(kestrova, effect.name)).parameters
        assert [argument.arg for argument in stub.args.args] == ["picture"]
        assert [argument.arg for argument in stub.args.kwonlyargs] == list(parameters)[1:]
        defaults = [ast.literal_eval(default) for default in stub.args.kw_defaults]
        assert defaults == [parameter.default for parameter in list(parameters.values())[1:]]
    assert os.path.exists(os.path.join(os.path.dirname(kestrova.__file__), "py.typed"))
