"""Reports held against docs/report.schema.json."""
import json
import os
from jsonschema import Draft202012Validator
from node import TOP

with open(TOP + "/docs/report.schema.json") as file:
    SCHEMA = json.load(file)
Draft202012Validator.check_schema(SCHEMA)
VALIDATOR = Draft202012Validator(SCHEMA)


def faults(document):
    """What the schema has against a report: "$.where: what", none for a good one."""
    return [f"{error.json_path}: {error.message}" for error in VALIDATOR.iter_errors(document)]


def faults_of(node):
    """The same of all that a node's server has accepted, and of its local copy."""
    accepted = node.reports() if os.path.isdir(node.path("accepted")) else []
    documents = [document for document, _ in accepted]
    if local := node.read("report.json"):
        documents.append(json.loads(local))
    return [fault for document in documents for fault in faults(document)]
